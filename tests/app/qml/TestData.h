#pragma once

#include <QObject>
#include <QSet>
#include <QVariantList>

#include <memory>

class FakeClock;
class FakeCredentials;
class MeetingArchiver;
class OndelStore;
class Settings;
class TestHttpServer;

// What the screens' tests set up and look at: meetings and folders in the real store, the
// fake clock, the theme, and where screenshots go.
class TestData : public QObject
{
    Q_OBJECT
    Q_PROPERTY(QString screenshotDir READ screenshotDir CONSTANT)

public:
    TestData(OndelStore &store, Settings &settings, FakeClock &clock, FakeCredentials &credentials,
             MeetingArchiver &archiver, QObject *parent = nullptr);
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
    Q_INVOKABLE bool meetingExists(const QString &meetingId) const;
    Q_INVOKABLE void advance(int milliseconds);

    // One line at `at` seconds from the start.
    Q_INVOKABLE void addLine(const QString &meetingId, bool isMe, const QString &text, double at);
    // Changes a stored field: "title", "userNotes", "summary", "isRecording", "autoStart"
    // (minutes ahead of now, with auto-start on).
    Q_INVOKABLE void setField(const QString &meetingId, const QString &field, const QVariant &value);
    Q_INVOKABLE QVariantMap meeting(const QString &meetingId) const;
    // The meeting's Markdown copy once every write asked for so far is done; "" for none.
    Q_INVOKABLE QString archivedText(const QString &meetingId) const;

    // The models answer from a local server that holds each chat answer until told.
    Q_INVOKABLE void setSignedIn(bool signedIn);
    Q_INVOKABLE int modelRequestCount() const;
    Q_INVOKABLE QString lastModelRequest() const;
    Q_INVOKABLE void streamPiece(const QString &text);
    Q_INVOKABLE void endAnswer();
    Q_INVOKABLE void setTheme(const QString &word);
    // The window as drawn, into the screenshot folder; false when it could not be saved.
    Q_INVOKABLE bool saveScreenshot(QObject *window, const QString &name) const;

private:
    OndelStore &m_store;
    Settings &m_settings;
    FakeClock &m_clock;
    FakeCredentials &m_credentials;
    MeetingArchiver &m_archiver;
    std::unique_ptr<TestHttpServer> m_models;
    QSet<int> m_answerStarted;
    int m_requestBase = 0; // requests of earlier tests
};
