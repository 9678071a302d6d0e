#include "AppServices.h"

#include "AccountService.h"
#include "AppState.h"
#include "CalendarService.h"
#include "PlatformCalendarStore.h"
#include "ArchiveRecovery.h"
#include "DualStreamMixer.h"
#include "EchoSuppressor.h"
#include "MeetingArchiver.h"
#include "NotesPublisher.h"
#include "OndelStore.h"
#include "Settings.h"
#include "SoundFeedback.h"
#include "SpoolReplay.h"
#include "SummaryNotesGenerator.h"
#include "TranscriptionLanguage.h"
#include "UtteranceSpool.h"
#include "VrelTranscriber.h"
#include "pulse/MicRecorder.h"
#include "pulse/PulseMicrophonePermission.h"
#include "pulse/PulseSoundPlayer.h"
#include "pulse/SystemAudioRecorder.h"
#include "pocketsphinx/PocketSphinxEngine.h"

#include <QNetworkAccessManager>

#include <utility>

namespace {

// The account starts reading the keychain when it is made (the command line waits for it); commands
// that never reach a model should not pay for that, so it is made on first use.
class SharedAccountCredentials final : public CredentialsSource
{
public:
    explicit SharedAccountCredentials(AccountService *account) : m_account(account) {}
    std::optional<ModelCredentials> modelCredentials() const override { return account().modelCredentials(); }
    bool allowanceExhausted() const override { return account().allowanceExhausted(); }
    bool credentialsKnown() const override { return account().credentialsKnown(); }
    void whenCredentialsKnown(QObject *context, std::function<void()> then) override
    {
        account().whenCredentialsKnown(context, std::move(then));
    }

private:
    AccountService &account() const { return m_account ? *m_account : AccountService::shared(); }
    AccountService *m_account;
};

class SharedAccountPublisher final : public NotesPublisher
{
public:
    explicit SharedAccountPublisher(AccountService *account) : m_account(account) {}
    bool canPublish() const override { return account().canPublish(); }
    void publish(const Notes &notes, QObject *context, Done done) override
    {
        account().publish(notes, context, std::move(done));
    }

private:
    AccountService &account() const { return m_account ? *m_account : AccountService::shared(); }
    AccountService *m_account;
};

} // namespace

struct AppServices::Parts
{
    explicit Parts(const Replacements &replacements)
        : clock(replacements.clock ? *replacements.clock : Clock::system())
        , account(replacements.account)
        , sharedCredentials(account)
        , credentials(replacements.credentials ? *replacements.credentials : sharedCredentials)
        , sharedPublisher(account)
        , publisher(replacements.publisher ? *replacements.publisher : sharedPublisher)
        , liveDraft(replacements.liveDraft ? *replacements.liveDraft : pocketSphinx)
        , calendarStoreReplacement(replacements.calendarStore)
    {
    }

    OndelStore &store = OndelStore::shared();
    Settings &settings = Settings::shared();
    Clock &clock;
    QNetworkAccessManager network;
    AccountService *account; // null: the shared one, made on first use
    SharedAccountCredentials sharedCredentials;
    CredentialsSource &credentials;
    SharedAccountPublisher sharedPublisher;
    NotesPublisher &publisher;
    MeetingArchiver archiver{store, clock};
    UtteranceSpool spool{UtteranceSpool::defaultRoot()};
    SummaryNotesGenerator notes{clock, network};
    PulseMicrophonePermission microphone;
    MicRecorder micRecorder;
    SystemAudioRecorder systemRecorder;
    DualStreamMixer mixer{&micRecorder, &systemRecorder};
    PocketSphinxEngine pocketSphinx{clock};
    LiveDraftEngine &liveDraft;
    // The player connects to the sound server at its first sound.
    std::unique_ptr<PulseSoundPlayer> soundPlayer;
    std::unique_ptr<SoundFeedback> sounds;
    std::unique_ptr<AppState> appState;
    ArchiveRecovery recovery{store, clock};
    std::unique_ptr<SpoolReplay> spoolReplay;
    bool spoolPending = false; // the start-up's retry of the spool waits for the recovery
    ondel::CalendarStore *calendarStoreReplacement;
    std::unique_ptr<ondel::CalendarStore> calendarStore;
    std::unique_ptr<ondel::CalendarService> calendar;
};

AppServices::AppServices(Sounds sounds, QObject *parent)
    : AppServices(sounds, Replacements{}, parent)
{
}

AppServices::AppServices(Sounds sounds, const Replacements &replacements, QObject *parent)
    : QObject(parent)
    , m(std::make_unique<Parts>(replacements))
{
    if (sounds == Sounds::Play) {
        m->soundPlayer = std::make_unique<PulseSoundPlayer>();
        m->sounds = std::make_unique<SoundFeedback>(*m->soundPlayer, m->clock);
    }
    m->appState = std::make_unique<AppState>(sessionDependencies(m->mixer, m->microphone));
    // The recovered meetings are already in the archive's index under their own ids. The audio
    // left in the spool waits for the recovery, which brings back the meetings' ids: before it,
    // that audio would seem to belong to no meeting.
    connect(&m->recovery, &ArchiveRecovery::finished, this, [this](int recovered) {
        if (recovered > 0)
            m->appState->refreshRecentMeetings(m->store);
        replaySpoolOnce();
    });
    TranscriptionSession *session = &m->appState->session();
    OndelStore *store = &m->store;
    m->spoolReplay = std::make_unique<SpoolReplay>(m->spool, m->store, m->settings, m->credentials, m->clock,
                                                   [session, store](const QUuid &id, const Speaker &speaker, const QString &text, double offset) {
                                                       session->appendLate(*store, id, speaker, text, offset);
                                                   });
    MeetingArchiver *archiver = &m->archiver;
    connect(m->spoolReplay.get(), &SpoolReplay::meetingUpdated, this, [archiver](const QUuid &id) { archiver->archive(id); });
}

AppServices::~AppServices()
{
    // The session goes first, then what it used; the archive's worker ends its queue on the way.
    m->calendar.reset();
    m->calendarStore.reset();
    m->spoolReplay.reset();
    m->appState.reset();
    m->archiver.waitForIdle();
}

SessionDependencies AppServices::sessionDependencies(DualStreamMixer &mixer, MicrophonePermission &microphone)
{
    SessionDependencies deps;
    deps.mixer = &mixer;
    deps.settings = &m->settings;
    deps.clock = &m->clock;
    deps.microphone = &microphone;
    deps.credentials = &m->credentials;
    deps.makeTranscriber = VrelTranscriber::factory(m->clock, m->settings);
    Settings *settings = &m->settings;
    deps.languageCode = [settings] { return TranscriptionLanguage::code(TranscriptionLanguage::current(*settings)); };
    deps.findEcho = &EchoSuppressor::duplicate;
    deps.notes = &m->notes;
    deps.archive = &m->archiver;
    deps.sounds = m->sounds.get();
    deps.spool = &m->spool;
    deps.liveDraft = &m->liveDraft;
    return deps;
}

void AppServices::startUp(Recovery recovery, bool retrySpool)
{
    m->appState->startUp(m->store);
    m->spoolPending = retrySpool;
    if (recovery == Recovery::Beside) {
        m->recovery.start(); // finished() comes either way
    } else {
        m->recovery.runToEnd();
        replaySpoolOnce();
    }
}

void AppServices::replaySpoolOnce()
{
    if (std::exchange(m->spoolPending, false))
        m->spoolReplay->transcribeAll();
}

ArchiveRecovery &AppServices::recovery() { return m->recovery; }

OndelStore &AppServices::store() { return m->store; }
Settings &AppServices::settings() { return m->settings; }
Clock &AppServices::clock() { return m->clock; }
QNetworkAccessManager &AppServices::network() { return m->network; }
AccountService &AppServices::account() { return m->account ? *m->account : AccountService::shared(); }
CredentialsSource &AppServices::credentials() { return m->credentials; }
NotesPublisher &AppServices::publisher() { return m->publisher; }
MeetingArchiver &AppServices::archiver() { return m->archiver; }
NotesGenerator &AppServices::notes() { return m->notes; }
MicrophonePermission &AppServices::microphone() { return m->microphone; }
DualStreamMixer &AppServices::mixer() { return m->mixer; }
MicRecorder &AppServices::micRecorder() { return m->micRecorder; }
SystemAudioRecorder &AppServices::systemRecorder() { return m->systemRecorder; }
AppState &AppServices::appState() { return *m->appState; }
TranscriptionSession &AppServices::session() { return m->appState->session(); }
LiveDraftEngine &AppServices::liveDraft() { return m->liveDraft; }
SoundCues *AppServices::sounds() { return m->sounds.get(); }
UtteranceSpool &AppServices::spool() { return m->spool; }
SpoolReplay &AppServices::spoolReplay() { return *m->spoolReplay; }

ondel::CalendarService &AppServices::calendar()
{
    if (!m->calendar) {
        ondel::CalendarStore *store = m->calendarStoreReplacement;
        if (!store) {
            m->calendarStore = makePlatformCalendarStore();
            store = m->calendarStore.get();
        }
        m->calendar = std::make_unique<ondel::CalendarService>(store, m->settings, m->clock);
    }
    return *m->calendar;
}
