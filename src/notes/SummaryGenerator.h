#pragma once

#include "Clock.h"
#include "ModelCredentials.h"
#include "SummaryError.h"

#include <QJsonObject>
#include <QObject>
#include <QString>

#include <functional>
#include <optional>

class QNetworkAccessManager;

// Asks the language model for a meeting's notes and title and cleans what comes back. Made for
// one job and dropped. The two requests run side by side on this object's thread, each with its
// own attempt counter, so a rate-limited title does not hold back the notes. Callbacks run on
// this object's thread; none runs after cancel() or the object's end.
class SummaryGenerator : public QObject
{
    Q_OBJECT

public:
    static constexpr int maxRetries = 3;
    static constexpr int notesMaxTokens = 2048;
    static constexpr int titleMaxTokens = 200;
    static constexpr qsizetype titleMaxLength = 120;

    using NotesDone = std::function<void(const SummaryResult<QString> &notes)>;
    // An absent title is no failure: the meeting keeps the one it has.
    using TitleDone = std::function<void(const SummaryResult<std::optional<QString>> &title)>;

    SummaryGenerator(const ModelCredentials &credentials, Clock &clock, QNetworkAccessManager &network, QObject *parent = nullptr);
    ~SummaryGenerator() override;

    const ModelCredentials &credentials() const { return m_credentials; }

    void generateSummary(const QString &transcript, const QString &userNotes, const std::optional<QString> &calendarContext,
                         NotesDone done);
    void generateTitle(const QString &transcript, TitleDone done);
    // Stops every request and wait in progress.
    void cancel();

    // The JSON body of a one-shot request. Notes and titles always use the model "fast".
    static QJsonObject requestBody(const QString &systemPrompt, const QString &userContent, int maxTokens);
    // A title from the model's answer: reasoning gone, first line, no double quotes, at most 120
    // characters.
    static std::optional<QString> cleanTitle(const QString &answer);

private:
    void chatCompletion(const QString &systemPrompt, const QString &userContent, int maxTokens,
                        std::function<void(const SummaryResult<QString> &)> done);

    ModelCredentials m_credentials;
    Clock &m_clock;
    QNetworkAccessManager &m_network;
};
