#pragma once

#include "ChatError.h"
#include "ChatModel.h"
#include "Clock.h"
#include "ModelCredentials.h"

#include <QObject>
#include <QPointer>
#include <QString>
#include <QUuid>

#include <optional>

class ChatStream;
class OndelStore;
class QNetworkAccessManager;
class Settings;

// Questions about one meeting, also while it is recorded: the answer streams into
// streamingAnswer as it arrives, and both turns are stored as chat messages. One request at a
// time; a new question drops the running one unfinished. Main thread only.
class MeetingChatService : public QObject
{
    Q_OBJECT
    Q_PROPERTY(QString streamingAnswer READ streamingAnswer NOTIFY streamingAnswerChanged)
    Q_PROPERTY(bool isAnswering READ isAnswering NOTIFY isAnsweringChanged)
    Q_PROPERTY(QString error READ error NOTIFY errorChanged)

public:
    static inline const QString noCredentialsText =
        QStringLiteral("Sign in to ask about your meetings — or add your own Vrel key in Settings");

    MeetingChatService(OndelStore &store, Settings &settings, CredentialsSource &credentials, Clock &clock,
                       QNetworkAccessManager &network, QObject *parent = nullptr);
    ~MeetingChatService() override;

    QString streamingAnswer() const { return m_streamingAnswer; }
    bool isAnswering() const { return m_isAnswering; }
    // Empty when there is no message.
    QString error() const { return m_error; }

    // Stores the question and starts streaming the answer with the chosen model; returns at
    // once. False when nothing was sent (error() says why): the question is then not stored.
    bool ask(const QString &question, const QUuid &meetingId);
    // The same, for screens that hold the meeting's id as text; false for an id that is none.
    Q_INVOKABLE bool askAbout(const QString &question, const QString &meetingId);
    // Drops the running request: nothing more of it is shown or stored.
    Q_INVOKABLE void cancel();

Q_SIGNALS:
    void streamingAnswerChanged();
    void isAnsweringChanged();
    void errorChanged();
    // The newest piece of the answer; streamingAnswer holds all of it so far.
    void pieceReceived(const QString &piece);
    // A request ended by itself (not cancelled): answered, empty, or failed (see error()).
    void answerFinished();

private:
    void onPiece(const QString &piece);
    void onEnd(const QUuid &meetingId, const QString &modelId, const std::optional<ChatError> &error);
    void dropStream();
    void setStreamingAnswer(const QString &value);
    void setAnswering(bool value);
    void setError(const QString &value);

    OndelStore &m_store;
    Settings &m_settings;
    CredentialsSource &m_credentials;
    Clock &m_clock;
    QNetworkAccessManager &m_network;

    QPointer<ChatStream> m_stream;
    quint64 m_askTicket = 0; // a question waiting for the stored keys is asked only while it is the latest
    QString m_answer; // the running request's text so far
    QString m_streamingAnswer;
    bool m_isAnswering = false;
    QString m_error;
};
