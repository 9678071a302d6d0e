#pragma once

#include "FakeClock.h"
#include "NotesPublisher.h"
#include "Settings.h"
#include "TestHttpServer.h"

#include <QClipboard>
#include <QGuiApplication>
#include <QObject>
#include <QPointer>
#include <QSet>
#include <QUrl>
#include <QVariantList>

#include <functional>
#include <memory>

class AccountService;
class AudioRecorder;
class PulseServer;
class FakeCredentials;
class MeetingArchiver;
class OndelStore;
class UtteranceSpool;

// Publishes with the answer the test chose, while "signed in": at once, or when released.
class StubPublisher final : public NotesPublisher
{
public:
    bool canPublish() const override { return signedIn; }
    void publish(const Notes &, QObject *context, Done done) override
    {
        ++count;
        const Outcome outcome{link.isEmpty() ? std::nullopt : std::optional(link), error};
        held.append([context = QPointer(context), done, outcome] {
            if (context)
                QMetaObject::invokeMethod(context, [done, outcome] { done(outcome); }, Qt::QueuedConnection);
        });
        if (!hold)
            release();
    }
    void release()
    {
        for (const auto &answer : std::exchange(held, {}))
            answer();
    }
    bool signedIn = true;
    bool hold = false; // answers wait for release()
    int count = 0;
    QString link = QStringLiteral("https://ondel.app/s/test");
    QString error;
    QList<std::function<void()>> held;
};

// What the screens' tests set up and look at: meetings and folders in the real store, the
// fake clock, the theme, and where screenshots go.
class TestData : public QObject
{
    Q_OBJECT
    Q_PROPERTY(QString screenshotDir READ screenshotDir CONSTANT)

public:
    TestData(OndelStore &store, Settings &settings, FakeClock &clock, FakeCredentials &credentials,
             MeetingArchiver &archiver, StubPublisher &publisher, QObject *parent = nullptr);
    ~TestData() override;

    QString screenshotDir() const;

    Q_INVOKABLE void clear();
    // `lines` alternate "Me" and "Them", three seconds apart.
    Q_INVOKABLE QString addMeeting(const QString &title, double minutesAgo, double durationSeconds = 0,
                                   const QStringList &lines = {}, const QString &summary = {});
    Q_INVOKABLE QString addFolder(const QString &name, const QString &icon = QStringLiteral("folder"));
    Q_INVOKABLE void file(const QString &meetingId, const QString &folderId);
    Q_INVOKABLE QString folderOf(const QString &meetingId) const;
    Q_INVOKABLE QStringList folderNames() const;
    Q_INVOKABLE void advance(int milliseconds) { m_clock.advance(std::chrono::milliseconds(milliseconds)); }

    // One line at `at` seconds from the start.
    Q_INVOKABLE void addLine(const QString &meetingId, bool isMe, const QString &text, double at);
    // `parts` utterances of a second each, waiting in the spool, a few seconds apart.
    Q_INVOKABLE void addSpooled(const QString &meetingId, int parts);
    // Changes a stored field: "title", "userNotes", "summary", "isRecording", "autoStart"
    // (minutes ahead of now, with auto-start on).
    Q_INVOKABLE void setField(const QString &meetingId, const QString &field, const QVariant &value);
    Q_INVOKABLE QVariantMap meeting(const QString &meetingId) const;
    // The meeting's Markdown copy once every write asked for so far is done; "" for none.
    Q_INVOKABLE QString archivedText(const QString &meetingId) const;
    // `count` meeting files in the folder an empty store is recovered from; 0 removes it.
    Q_INVOKABLE void putRecoveryFiles(int count);
    // Starts the app's recovery of an empty store, as the launch does.
    Q_INVOKABLE void startRecovery();

    // The models answer from a local server that holds each chat answer until told.
    Q_INVOKABLE void setSignedIn(bool signedIn);
    // Shared notes get this link, or fail with this text when the link is empty.
    Q_INVOKABLE void setShareAnswer(const QString &link, const QString &error = {})
    {
        m_publisher.link = link;
        m_publisher.error = error;
    }
    // Shares wait for their answer until released.
    Q_INVOKABLE void holdShares(bool hold)
    {
        m_publisher.hold = hold;
        if (!hold)
            m_publisher.release();
    }
    Q_INVOKABLE int shareCount() const { return m_publisher.count; }
    Q_INVOKABLE QString clipboardText() const { return QGuiApplication::clipboard()->text(); }
    Q_INVOKABLE void setClipboardText(const QString &text) { QGuiApplication::clipboard()->setText(text); }
    Q_INVOKABLE int modelRequestCount() const { return m_models->requestCount() - m_requestBase; }
    Q_INVOKABLE QString lastModelRequest() const
    {
        return modelRequestCount() ? QString::fromUtf8(m_models->requests().constLast().body) : QString();
    }
    Q_INVOKABLE void streamPiece(const QString &text);
    Q_INVOKABLE void endAnswer();
    Q_INVOKABLE void setTheme(const QString &word) { m_settings.setAppTheme(word); }
    // The window as drawn, into the screenshot folder; false when it could not be saved.
    Q_INVOKABLE bool saveScreenshot(QObject *window, const QString &name) const;

    // The account's cloud and gateway are one local server. It mails no code: "123456" is
    // right for any address. The browser of the gateway sign-in answers at once, unless held.
    void useAccount(AccountService &account);
    void useSpool(UtteranceSpool &spool) { m_spool = &spool; }
    Q_INVOKABLE void setUsage(double minutesUsed, double quotaMinutes, bool unlimited = false);
    // A number, or null for a gateway that tells no balance.
    Q_INVOKABLE void setGatewayBalance(const QVariant &dollars) { m_gatewayBalance = dollars; }
    Q_INVOKABLE void holdBrowser(bool hold) { m_holdBrowser = hold; }
    // A link opened in the app, as the desktop hands it over; "ondel://auth?token=link-of-the-test" signs in.
    Q_INVOKABLE void openLink(const QString &url);
    // Requests to a path ("/v1/auth/verify") since the start.
    Q_INVOKABLE int cloudRequestCount(const QString &path) const;
    // The keyring goes away for the rest of the run, as the setup stops it.
    Q_INVOKABLE void stopKeyring() { if (stopsKeyring) stopsKeyring(); }
    std::function<void()> stopsKeyring;

    // The microphone records from the test's sound server, with `source` its default input
    // ("mic", or a monitor); an empty one stops it and puts "mic" back.
    void useSound(PulseServer &server, AudioRecorder &mic)
    {
        m_sound = &server;
        m_mic = &mic;
    }
    Q_INVOKABLE bool recordMicFrom(const QString &source);
    // The sound server's microphone, or its outputs (and with them the microphone, which is fed
    // by one), unplugged or back.
    Q_INVOKABLE bool connectMicrophone(bool connected);
    Q_INVOKABLE bool connectSpeakers(bool connected);

private:
    OndelStore &m_store;
    Settings &m_settings;
    FakeClock &m_clock;
    FakeCredentials &m_credentials;
    MeetingArchiver &m_archiver;
    UtteranceSpool *m_spool = nullptr;
    std::unique_ptr<TestHttpServer> m_models;
    StubPublisher &m_publisher;
    std::unique_ptr<TestHttpServer> m_cloud;
    QPointer<AccountService> m_account;
    QVariantMap m_usage;
    QVariant m_gatewayBalance;
    bool m_holdBrowser = false;
    std::function<void(const QUrl &)> m_browserCallback;
    QSet<int> m_answerStarted;
    int m_requestBase = 0; // requests of earlier tests
    PulseServer *m_sound = nullptr;
    AudioRecorder *m_mic = nullptr;
};
