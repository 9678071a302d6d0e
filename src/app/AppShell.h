#pragma once

#include "AccountService.h"
#include "ArchiveRecovery.h"
#include "Settings.h"
#include "TranscriptionSession.h"

#include <QHash>
#include <QObject>
#include <QUuid>
#include <QtQml/qqmlregistration.h>

class AppServices;
class Appearance;
class Clock;
class NotesRegenerator;
class OndelStore;
class QJSEngine;
class QQmlEngine;

// What the screens reach of the application: the settings, the session, the account, the
// look, and the requests that cross windows (open the settings, bring the window up, quit).
// One per process; main (or a test) makes it before the first window.
class AppShell : public QObject
{
    Q_OBJECT
    QML_NAMED_ELEMENT(App)
    QML_SINGLETON
    Q_PROPERTY(Settings *settings READ settings CONSTANT)
    Q_PROPERTY(TranscriptionSession *session READ session CONSTANT)
    Q_PROPERTY(AccountService *account READ account CONSTANT)
    Q_PROPERTY(bool dark READ dark NOTIFY darkChanged)
    Q_PROPERTY(bool micMissing READ micMissing NOTIFY micMissingChanged)
    Q_PROPERTY(QString micNotice READ micNotice NOTIFY micNoticeChanged)
    Q_PROPERTY(QString version READ version CONSTANT)
    Q_PROPERTY(QObject *updates READ updates CONSTANT)
    Q_PROPERTY(ArchiveRecovery *recovery READ recovery CONSTANT)
    // Whether the desktop shows the tray icon, the way back to a closed window.
    Q_PROPERTY(bool hasTray READ hasTray WRITE setHasTray NOTIFY hasTrayChanged)

public:
    AppShell(AppServices &services, Appearance &appearance, QObject *parent = nullptr);
    ~AppShell() override;

    static AppShell *current();
    static AppShell *create(QQmlEngine *, QJSEngine *);

    AppServices &services() { return m_services; }
    OndelStore &store();
    Clock &clock();
    Settings *settings();
    TranscriptionSession *session();
    AccountService *account();
    // The rebuilding of an empty store from the archive, with its progress.
    ArchiveRecovery *recovery();
    bool dark() const;
    bool micMissing() const { return m_micMissing; }
    // Why a running recording hears no microphone (none is left, or the input on offer is a
    // monitor), in the user's words; empty while it hears one.
    QString micNotice() const { return m_micNotice; }
    QString version() const;
    QObject *updates() const { return m_updates; }
    // The regeneration of one meeting's notes, made at its first use. It outlives the screen
    // that started it, so that leaving and coming back finds it still running.
    NotesRegenerator *regenerator(const QUuid &meetingId);
    // The one made before, if any.
    NotesRegenerator *existingRegenerator(const QUuid &meetingId) const { return m_regenerators.value(meetingId); }
    void setUpdates(QObject *checker) { m_updates = checker; }
    bool hasTray() const { return m_hasTray; }
    void setHasTray(bool hasTray);

    // The microphone is read again whenever the window comes back to the front.
    Q_INVOKABLE void refreshMicStatus();
    // Opens the desktop's sound settings; false when none is installed.
    Q_INVOKABLE bool openSoundSettings();
    Q_INVOKABLE void openSettings() { Q_EMIT openSettingsRequested(); }
    Q_INVOKABLE void showMainWindow() { Q_EMIT mainWindowRequested(); }
    // "Welcome to Ondel": the tour in a window of its own, in front.
    Q_INVOKABLE void showOnboarding() { Q_EMIT onboardingRequested(); }
    // At launch: the tour, unless it was completed once. True when it opens.
    Q_INVOKABLE bool showOnboardingIfNeeded();
    Q_INVOKABLE void setLaunchAtLogin(bool enabled);
    // Ends the process at once, a recording too: the next start repairs it.
    Q_INVOKABLE void quit();
    // The window is being closed: true the first time in a run when no tray leads back, so
    // that the window says that Ondel keeps running and how to quit it or bring it back.
    Q_INVOKABLE bool explainsClosing();

Q_SIGNALS:
    void darkChanged();
    void micMissingChanged();
    void micNoticeChanged();
    void openSettingsRequested();
    void mainWindowRequested();
    void onboardingRequested();
    void hasTrayChanged();

private:
    void refreshMicNotice();

    AppServices &m_services;
    Appearance &m_appearance;
    QObject *m_updates = nullptr;
    QHash<QUuid, NotesRegenerator *> m_regenerators;
    bool m_micMissing = false;
    QString m_micNotice;
    bool m_hasTray = true;
    bool m_closingExplained = false;
};
