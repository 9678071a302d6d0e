#pragma once

#include "Clock.h"

#include <QObject>
#include <QString>
#include <QtQml/qqmlregistration.h>

#include <functional>

class AccountService;
class AudioRecorder;
class MicrophonePermission;
class Settings;

// The first-run tour's rules: which step shows, the two audio permissions, the own-key path,
// and the moves on after a success, a short pause later so that the tick is seen. Lives as
// long as its window; the settings and the account it writes outlive it.
class Onboarding : public QObject
{
    Q_OBJECT
    QML_ELEMENT
    Q_PROPERTY(Step step READ step NOTIFY stepChanged)
    Q_PROPERTY(int stepCount READ stepCount CONSTANT)
    Q_PROPERTY(bool micGranted READ micGranted NOTIFY micChanged)
    Q_PROPERTY(bool micDenied READ micDenied NOTIFY micChanged)
    Q_PROPERTY(bool systemAudioDone READ systemAudioDone NOTIFY systemAudioChanged)
    Q_PROPERTY(bool systemAudioFailed READ systemAudioFailed NOTIFY systemAudioChanged)
    Q_PROPERTY(bool showByoKey READ showByoKey NOTIFY showByoKeyChanged)
    Q_PROPERTY(QString byoKeyDraft READ byoKeyDraft WRITE setByoKeyDraft NOTIFY byoKeyDraftChanged)
    Q_PROPERTY(bool canApplyKey READ canApplyKey NOTIFY byoKeyDraftChanged)
    // The one-second microphone poll runs between start() and stop().
    Q_PROPERTY(bool polling READ polling NOTIFY pollingChanged)

public:
    enum class Step { Welcome, Microphone, SystemAudio, SignIn, Theme, Ready };
    Q_ENUM(Step)

    struct Dependencies
    {
        Clock &clock;
        Settings &settings;
        AccountService &account;
        MicrophonePermission &microphone;
        AudioRecorder &systemAudio;
        // Whether the system recorder already runs (a recording): then it is not probed.
        std::function<bool()> systemAudioRunning;
        // Opens a folder with the desktop.
        std::function<void(const QString &)> openFolder;
        QString archiveRoot;
    };

    // Over the app's services (AppShell).
    explicit Onboarding(QObject *parent = nullptr);
    explicit Onboarding(Dependencies dependencies, QObject *parent = nullptr);
    ~Onboarding() override;

    static constexpr std::chrono::milliseconds pollInterval{1000};
    static constexpr std::chrono::milliseconds beat{600};

    Step step() const { return m_step; }
    int stepCount() const { return int(Step::Ready) + 1; }
    bool micGranted() const { return m_micGranted; }
    bool micDenied() const { return m_micDenied; }
    bool systemAudioDone() const { return m_systemAudioDone; }
    bool systemAudioFailed() const { return m_systemAudioFailed; }
    bool showByoKey() const { return m_showByoKey; }
    QString byoKeyDraft() const { return m_byoKeyDraft; }
    void setByoKeyDraft(const QString &draft);
    bool canApplyKey() const { return !m_byoKeyDraft.trimmed().isEmpty(); }
    bool polling() const { return m_pollTimer != 0; }

    // The window appeared: the microphone is read, and then every second until stop().
    Q_INVOKABLE void start();
    Q_INVOKABLE void stop();

    // "Get started": the tour counts as done from here, closed or not.
    Q_INVOKABLE void getStarted();
    // "Skip", and "Continue" once signed in.
    Q_INVOKABLE void advance();
    Q_INVOKABLE void back();
    // "Allow microphone": asks again; without one, the denied text shows.
    Q_INVOKABLE void allowMicrophone();
    // "Allow system audio": a start and a stop of the system recorder.
    Q_INVOKABLE void allowSystemAudio();
    // "Use my own key instead" and "Back to sign in".
    Q_INVOKABLE void useOwnKey();
    Q_INVOKABLE void backToSignIn();
    // "Use this key": a blank draft is no key.
    Q_INVOKABLE void applyKey();
    // A theme tile: "system", "light" or "dark", in effect at once.
    Q_INVOKABLE void chooseTheme(const QString &theme);
    // "Start using Ondel".
    Q_INVOKABLE void finish();
    Q_INVOKABLE void openArchiveFolder();

Q_SIGNALS:
    void stepChanged();
    void micChanged();
    void systemAudioChanged();
    void showByoKeyChanged();
    void byoKeyDraftChanged();
    void pollingChanged();
    // The window closes.
    void finished();

private:
    void setStep(Step step);
    // Goes on a beat later; nothing cancels it, so a skip meanwhile makes it two steps.
    void advanceAfterBeat();
    void setMic(bool granted, bool denied);
    // Reads the permission off the main thread (the sound server may be slow to answer).
    void readMicrophone(std::function<void(int status)> answer);
    void scheduleTick();
    void onSignedInChanged();

    Dependencies m;
    Step m_step = Step::Welcome;
    bool m_micGranted = false;
    bool m_micDenied = false;
    bool m_systemAudioDone = false;
    bool m_systemAudioFailed = false;
    bool m_showByoKey = false;
    QString m_byoKeyDraft;
    bool m_wasSignedIn = false;
    bool m_reading = false;
    Clock::TimerId m_pollTimer = 0;
};
