#pragma once

#include "TranscriptionSession.h"

#include <QObject>

#include <memory>

class AccountService;
class ArchiveRecovery;
class AppState;
class DualStreamMixer;
class MeetingArchiver;
class MicRecorder;
class OndelStore;
class QNetworkAccessManager;
class Settings;
class SummaryNotesGenerator;
class SpoolReplay;
class SystemAudioRecorder;
class UtteranceSpool;
class MicrophonePermission;
class NotesPublisher;
namespace ondel {
class CalendarService;
class CalendarStore;
}

// The one place where the real parts are put together, for both front ends: the store, the
// settings, the account, the two recorders and their mixer, the archive, the notes, and the
// application state that owns the recording session. Main thread only; made after the
// application object and the identifier, and before anything records.
class AppServices : public QObject
{
    Q_OBJECT

public:
    // Whether the session plays its start and stop sounds: the desktop app does, the command
    // line stays silent.
    enum class Sounds { Play, Silent };

    // Parts a test puts in place of the real ones; null keeps the real part.
    struct Replacements
    {
        Clock *clock = nullptr;
        CredentialsSource *credentials = nullptr;
        NotesPublisher *publisher = nullptr;
        AccountService *account = nullptr; // in place of AccountService::shared()
        LiveDraftEngine *liveDraft = nullptr;
        ondel::CalendarStore *calendarStore = nullptr; // in place of the platform's
    };

    explicit AppServices(Sounds sounds = Sounds::Play, QObject *parent = nullptr);
    AppServices(Sounds sounds, const Replacements &replacements, QObject *parent = nullptr);
    ~AppServices() override;

    OndelStore &store();
    Settings &settings();
    Clock &clock();
    QNetworkAccessManager &network();
    AccountService &account();
    CredentialsSource &credentials();
    // Where shared notes are published.
    NotesPublisher &publisher();
    MeetingArchiver &archiver();
    NotesGenerator &notes();
    MicrophonePermission &microphone();
    DualStreamMixer &mixer();
    MicRecorder &micRecorder();
    SystemAudioRecorder &systemRecorder();
    AppState &appState();
    TranscriptionSession &session();
    // The on-device recogniser behind the rough live text.
    LiveDraftEngine &liveDraft();
    // The session's start and stop sounds; null when made silent.
    SoundCues *sounds();
    // Utterances kept until their answer is handled, and the pass that tries them again.
    UtteranceSpool &spool();
    SpoolReplay &spoolReplay();
    // The week's calendars, over the platform's calendar store (makePlatformCalendarStore);
    // made on first use, so that commands that never look at calendars never connect to it.
    ondel::CalendarService &calendar();

    // What a session needs, over the given audio and permission: the desktop's own session
    // uses the shared mixer; the command line's file transcription brings its own.
    SessionDependencies sessionDependencies(DualStreamMixer &mixer, MicrophonePermission &microphone);

    // How the recovery of an empty store from the archive runs beside the start-up: the command
    // line waits for it, the app goes on while it shows its progress.
    enum class Recovery { Wait, Beside };
    // The launch order: the repairs and the backfill; beside them, the recovery. The recent list
    // is read again once meetings came back, and then (unless told not to) the audio left in the
    // spool is tried again, in the background.
    void startUp(Recovery recovery = Recovery::Wait, bool retrySpool = true);
    ArchiveRecovery &recovery();

private:
    void replaySpoolOnce();

    struct Parts;
    std::unique_ptr<Parts> m;
};
