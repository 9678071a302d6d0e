#include "MeetingChatService.h"

#include "ChatStream.h"
#include "Log.h"
#include "MeetingChatPrompt.h"
#include "OndelStore.h"
#include "Settings.h"
#include "Uuid.h"

MeetingChatService::MeetingChatService(OndelStore &store, Settings &settings, CredentialsSource &credentials, Clock &clock,
                                       QNetworkAccessManager &network, QObject *parent)
    : QObject(parent)
    , m_store(store)
    , m_settings(settings)
    , m_credentials(credentials)
    , m_clock(clock)
    , m_network(network)
{
}

MeetingChatService::~MeetingChatService()
{
    dropStream();
}

bool MeetingChatService::ask(const QString &question, const QUuid &meetingId)
{
    cancel();
    setError({});
    if (!m_credentials.credentialsKnown()) {
        // The stored keys are still being read: the question waits for them, shown as thinking.
        const quint64 ticket = ++m_askTicket;
        setAnswering(true);
        m_credentials.whenCredentialsKnown(this, [this, question, meetingId, ticket] {
            if (ticket == m_askTicket)
                ask(question, meetingId);
        });
        return true;
    }
    const std::optional<ModelCredentials> credentials = m_credentials.modelCredentials();
    if (!credentials) {
        setError(noCredentialsText);
        return false;
    }
    const std::optional<Meeting> meeting = m_store.meeting(meetingId);
    if (!meeting) {
        setError(QStringLiteral("This meeting no longer exists."));
        return false;
    }
    const ChatModel model = ChatModel::named(m_settings.chatModel());
    const QList<ChatMessage> history = m_store.chatMessages(meetingId);
    const QString transcript = Meeting::formattedTranscript(m_store.segments(meetingId));
    const QJsonArray messages = MeetingChatPrompt::build(question, *meeting, transcript, history);

    ChatMessage asked(ChatRole::User, question, std::nullopt);
    asked.meetingId = meetingId;
    asked.createdAt = m_clock.now();
    if (!m_store.insert(asked))
        qCInfo(lcOndel).noquote() << QStringLiteral("Chat question not saved: %1").arg(m_store.lastError());

    m_answer.clear();
    setStreamingAnswer({});
    setAnswering(true);
    // Callbacks come from this stream only while it is m_stream: dropping it silences it.
    m_stream = new ChatStream(
        m_network, m_clock, *credentials, model.id, messages, [this](const QString &piece) { onPiece(piece); },
        [this, meetingId, modelId = model.id](const std::optional<ChatError> &error) { onEnd(meetingId, modelId, error); },
        this);
    m_stream->start();
    return true;
}

bool MeetingChatService::askAbout(const QString &question, const QString &meetingId)
{
    const std::optional<QUuid> id = parseUuid(meetingId);
    return id && ask(question, *id);
}

void MeetingChatService::cancel()
{
    ++m_askTicket;
    dropStream();
    m_answer.clear();
    setStreamingAnswer({});
    setAnswering(false);
}

void MeetingChatService::dropStream()
{
    if (ChatStream *stream = m_stream.data()) {
        m_stream = nullptr;
        stream->abort();
        // Later, not now: a cancel may come from inside one of its own callbacks.
        stream->deleteLater();
    }
}

void MeetingChatService::onPiece(const QString &piece)
{
    if (piece.isEmpty())
        return;
    // The text only grows here, so it is published without comparing it to the last one.
    m_answer += piece;
    m_streamingAnswer = m_answer;
    Q_EMIT streamingAnswerChanged();
    Q_EMIT pieceReceived(piece);
}

void MeetingChatService::onEnd(const QUuid &meetingId, const QString &modelId, const std::optional<ChatError> &error)
{
    dropStream();
    const QString answer = m_answer.trimmed();
    m_answer.clear();
    if (error) {
        // The words that had arrived go; the question stays in the conversation.
        setError(error->readableText());
    } else if (!answer.isEmpty()) {
        ChatMessage answered(ChatRole::Assistant, answer, modelId);
        answered.meetingId = meetingId;
        answered.createdAt = m_clock.now();
        if (!m_store.insert(answered))
            qCInfo(lcOndel).noquote() << QStringLiteral("Chat answer not saved: %1").arg(m_store.lastError());
    }
    setStreamingAnswer({});
    setAnswering(false);
    Q_EMIT answerFinished();
}

void MeetingChatService::setStreamingAnswer(const QString &value)
{
    if (m_streamingAnswer == value)
        return;
    m_streamingAnswer = value;
    Q_EMIT streamingAnswerChanged();
}

void MeetingChatService::setAnswering(bool value)
{
    if (m_isAnswering == value)
        return;
    m_isAnswering = value;
    Q_EMIT isAnsweringChanged();
}

void MeetingChatService::setError(const QString &value)
{
    if (m_error == value)
        return;
    m_error = value;
    Q_EMIT errorChanged();
}
