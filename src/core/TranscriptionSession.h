#pragma once

#include "Clock.h"
#include "LiveDraft.h"
#include "MeetingArchive.h"
#include "MicrophonePermission.h"
#include "ModelCredentials.h"
#include "NotesGenerator.h"
#include "PendingSaves.h"
#include "SoundCues.h"
#include "Speaker.h"
#include "Transcriber.h"
#include "TranscriptSegment.h"

#include <QDateTime>
#include <QObject>
#include <QUuid>

#include <functional>
#include <memory>
#include <optional>

class DualStreamMixer;
class OndelStore;
class Settings;
class UtteranceSpool;

// Finds the other stream's twin of a new line, if any (the echo suppressor).
using EchoFinder = std::function<std::optional<TranscriptSegment>(const QString &text, double offset,
                                                                  const QList<TranscriptSegment> &candidates)>;

// What the session works with. Everything but the mixer, settings, clock, permission,
// credentials and transcriber factory may be absent: that part of the work is then skipped.
struct SessionDependencies
{
    DualStreamMixer *mixer = nullptr;
    Settings *settings = nullptr;
    Clock *clock = nullptr;
    MicrophonePermission *microphone = nullptr;
    CredentialsSource *credentials = nullptr;
    TranscriberFactory makeTranscriber;
    // The language code of the next recording, or none for automatic detection.
    std::function<std::optional<QString>()> languageCode;
    EchoFinder findEcho;
    LiveDraftEngine *liveDraft = nullptr;
    NotesGenerator *notes = nullptr;
    MeetingArchive *archive = nullptr;
    SoundCues *sounds = nullptr;
    // Keeps each utterance's audio until its answer is handled.
    UtteranceSpool *spool = nullptr;
};

// The one recording of the process: from start, through lines arriving on two streams, to the
// drained, finalized and archived meeting with its notes. Main thread only; audio reaches the
// transcribers on the capture threads without passing through here.
class TranscriptionSession : public QObject
{
    Q_OBJECT
    Q_PROPERTY(bool isRecording READ isRecording NOTIFY isRecordingChanged)
    Q_PROPERTY(bool isPaused READ isPaused NOTIFY isPausedChanged)
    Q_PROPERTY(QString error READ error NOTIFY errorChanged)
    Q_PROPERTY(bool systemAudioActive READ systemAudioActive NOTIFY systemAudioActiveChanged)
    Q_PROPERTY(QString liveDraft READ liveDraft NOTIFY liveDraftChanged)
    Q_PROPERTY(bool isGeneratingSummary READ isGeneratingSummary NOTIFY isGeneratingSummaryChanged)
    Q_PROPERTY(QString generatingSummaryMeetingID READ generatingSummaryMeetingIDText NOTIFY generatingSummaryMeetingIDChanged)

public:
    static constexpr auto drainGuard = std::chrono::seconds(35);
    // Lines further apart than this are never twins; the store is asked for a little more.
    static constexpr double echoWindowSeconds = 3.5;
    // How soon writes the store refused are tried again when no other write comes first.
    static constexpr auto saveRetry = std::chrono::seconds(5);
    // A late line repeats the stream's line before it only if that one is this near.
    static constexpr double lateRepeatWindowSeconds = 60.0;

    explicit TranscriptionSession(SessionDependencies dependencies, QObject *parent = nullptr);
    ~TranscriptionSession() override;

    bool isRecording() const { return m_isRecording; }
    bool isPaused() const { return m_isPaused; }
    // Empty when there is no message.
    QString error() const { return m_error; }
    bool systemAudioActive() const { return m_systemAudioActive; }
    QString liveDraft() const { return m_liveDraft; }
    bool isGeneratingSummary() const { return m_isGeneratingSummary; }
    std::optional<QUuid> generatingSummaryMeetingID() const { return m_generatingSummaryMeetingID; }
    QString generatingSummaryMeetingIDText() const;
    // The meeting being recorded, while recording.
    std::optional<QUuid> meetingID() const { return m_meetingId; }

    // Records into the given meeting, or into a new one. Reports refusals through error().
    void startRecording(OndelStore *store, std::optional<QUuid> meetingId = std::nullopt);
    void stopRecording();
    void pauseRecording();
    void resumeRecording();

    // Asks for a meeting's title and notes, if it has a transcript and a model can be reached.
    void generateSummary(const QUuid &meetingId);

    // A line of audio transcribed late, from the spool, during a recording or long after it:
    // it lands at its offset under the echo rule, and is dropped if it repeats the same
    // stream's line just before it. Nothing is added to a meeting that is gone.
    void appendLate(OndelStore &store, const QUuid &meetingId, const Speaker &speaker, const QString &text, double startOffset);

Q_SIGNALS:
    void isRecordingChanged();
    void isPausedChanged();
    void errorChanged();
    void systemAudioActiveChanged();
    void liveDraftChanged();
    void isGeneratingSummaryChanged();
    void generatingSummaryMeetingIDChanged();
    // A stopped recording has been finalized (or deleted as empty): every line is in.
    void recordingFinalized(const QUuid &meetingId, bool deleted);

private:
    void append(const QString &text, const Speaker &speaker, const QUuid &meetingId, double startOffset);
    void insertLine(OndelStore &store, const QString &trimmed, const Speaker &speaker, const QUuid &meetingId, double startOffset);
    void finalizeRecording(const std::optional<QUuid> &meetingId, const std::optional<QDateTime> &startDate);
    void drain(std::shared_ptr<Transcriber> me, std::shared_ptr<Transcriber> them, QUuid meetingId, QDateTime startDate);
    void startLiveDraft();
    void stopLiveDraft();
    void playCue(SoundCues::Cue cue);
    // Called after each write: writes kept in memory are tried again soon; what lands of a
    // finished meeting goes to the archive again.
    void afterSave(bool saved);
    void retrySaves();
    std::shared_ptr<Transcriber> makeTranscriber(const TranscriberConfig &config, const Speaker &speaker, const QUuid &meetingId);

    void setRecording(bool value);
    void setPaused(bool value);
    void setError(const QString &value);
    void setSystemAudioActive(bool value);
    void setLiveDraft(const QString &value);
    void setGeneratingSummary(bool value, const std::optional<QUuid> &meetingId);

    SessionDependencies m_deps;

    bool m_isRecording = false;
    quint64 m_startTicket = 0; // a start that waits for the stored keys runs only while it is the latest
    bool m_isPaused = false;
    QString m_error;
    bool m_systemAudioActive = false;
    QString m_liveDraft;
    bool m_isGeneratingSummary = false;
    std::optional<QUuid> m_generatingSummaryMeetingID;

    std::shared_ptr<Transcriber> m_meTranscriber;
    std::shared_ptr<Transcriber> m_themTranscriber;
    std::shared_ptr<LiveDraftRecognizer> m_micDraft;
    std::shared_ptr<LiveDraftRecognizer> m_systemDraft;
    std::optional<QUuid> m_meetingId;
    OndelStore *m_store = nullptr; // kept after stop, so that the last lines and notes can be saved
    std::optional<QDateTime> m_recordingStartDate;
    bool m_sawTranscriptionError = false;
    PendingSaves m_unsaved;
    std::optional<Clock::TimerId> m_saveRetry;
};
