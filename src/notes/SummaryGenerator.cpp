#include "SummaryGenerator.h"

#include "ChatCompletionCall.h"
#include "ChatCompletionEndpoint.h"
#include "Graphemes.h"
#include "ReasoningStripper.h"
#include "SummaryPrompts.h"

#include <QJsonArray>
#include <QPointer>

SummaryGenerator::SummaryGenerator(const ModelCredentials &credentials, Clock &clock, QNetworkAccessManager &network, QObject *parent)
    : QObject(parent)
    , m_credentials(credentials)
    , m_clock(clock)
    , m_network(network)
{
}

SummaryGenerator::~SummaryGenerator()
{
    cancel();
}

void SummaryGenerator::generateSummary(const QString &transcript, const QString &userNotes,
                                       const std::optional<QString> &calendarContext, NotesDone done)
{
    chatCompletion(SummaryPrompts::notesSystemPrompt(calendarContext), SummaryPrompts::summaryUserContent(transcript, userNotes),
                   notesMaxTokens, [done = std::move(done)](const SummaryResult<QString> &answer) {
                       if (!answer.ok())
                           done(answer);
                       else
                           done(SummaryResult<QString>::success(ReasoningStripper::notes(answer.value)));
                   });
}

void SummaryGenerator::generateTitle(const QString &transcript, TitleDone done)
{
    using Title = SummaryResult<std::optional<QString>>;
    chatCompletion(SummaryPrompts::titleSystemPrompt(), SummaryPrompts::titleUserContent(transcript), titleMaxTokens,
                   [done = std::move(done)](const SummaryResult<QString> &answer) {
                       if (!answer.ok())
                           done(Title::failure(*answer.error));
                       else
                           done(Title::success(cleanTitle(answer.value)));
                   });
}

void SummaryGenerator::cancel()
{
    const QList<ChatCompletionCall *> calls = findChildren<ChatCompletionCall *>(Qt::FindDirectChildrenOnly);
    for (ChatCompletionCall *call : calls) {
        call->abort();
        call->setParent(nullptr);
        call->deleteLater();
    }
}

QJsonObject SummaryGenerator::requestBody(const QString &systemPrompt, const QString &userContent, int maxTokens)
{
    return {
        {QStringLiteral("model"), QStringLiteral("fast")},
        {QStringLiteral("temperature"), 0.3},
        {QStringLiteral("max_tokens"), maxTokens},
        {QStringLiteral("messages"), ChatCompletionEndpoint::messages(systemPrompt, userContent)},
    };
}

std::optional<QString> SummaryGenerator::cleanTitle(const QString &answer)
{
    std::optional<QString> title = ReasoningStripper::title(answer);
    if (!title)
        return std::nullopt;
    title->remove(QLatin1Char('"'));
    return Graphemes::left(*title, titleMaxLength);
}

void SummaryGenerator::chatCompletion(const QString &systemPrompt, const QString &userContent, int maxTokens,
                                      std::function<void(const SummaryResult<QString> &)> done)
{
    // The call is dropped once it has answered; until then it is a child, so cancel() finds it.
    auto self = std::make_shared<QPointer<ChatCompletionCall>>();
    auto *call = new ChatCompletionCall(m_network, m_clock, m_credentials, requestBody(systemPrompt, userContent, maxTokens),
                                        [self, done = std::move(done)](const SummaryResult<QString> &result) {
                                            if (ChatCompletionCall *finished = self->data()) {
                                                finished->setParent(nullptr);
                                                finished->deleteLater();
                                            }
                                            done(result);
                                        },
                                        this);
    *self = call;
    call->start();
}
