#pragma once

#include "Clock.h"
#include "Meeting.h"

#include <QObject>
#include <QPointer>
#include <QtQml/qqmlregistration.h>

#include <memory>
#include <optional>

class AppShell;
class MeetingChatService;
class NotesRegenerator;

// The screen of one meeting: what it shows of the record, which notes area applies, and the
// user's edits. Every edit is saved at once; the Markdown copy follows 0.9 s after the last
// one, so a burst of typing writes the archive once. Main thread only.
class MeetingDetail : public QObject
{
    Q_OBJECT
    QML_ELEMENT
    Q_PROPERTY(QString meetingId READ meetingId WRITE setMeetingId NOTIFY meetingIdChanged)
    Q_PROPERTY(bool exists READ exists NOTIFY changed)
    Q_PROPERTY(QString title READ title NOTIFY changed)
    Q_PROPERTY(QString userNotes READ userNotes NOTIFY changed)
    Q_PROPERTY(QString summary READ summary NOTIFY changed)
    Q_PROPERTY(bool summaryIsEmpty READ summaryIsEmpty NOTIFY changed)
    Q_PROPERTY(bool isRecording READ isRecording NOTIFY changed)
    Q_PROPERTY(bool titleIsUserEdited READ titleIsUserEdited NOTIFY changed)
    Q_PROPERTY(QString metaText READ metaText NOTIFY changed)
    Q_PROPERTY(NotesArea notesArea READ notesArea NOTIFY notesAreaChanged)
    Q_PROPERTY(QString generateLabel READ generateLabel NOTIFY changed)
    Q_PROPERTY(bool titleFocused READ titleFocused WRITE setTitleFocused NOTIFY titleFocusedChanged)
    Q_PROPERTY(DetailMode detailMode READ detailMode WRITE setDetailMode NOTIFY detailModeChanged)
    Q_PROPERTY(bool isRegenerating READ isRegenerating NOTIFY regenerationChanged)
    Q_PROPERTY(QString regenerateError READ regenerateError NOTIFY regenerationChanged)
    Q_PROPERTY(bool canRegenerate READ canRegenerate NOTIFY regenerationChanged)
    Q_PROPERTY(QString regenerateHelp READ regenerateHelp NOTIFY regenerationChanged)
    Q_PROPERTY(QString linkCandidateTitle READ linkCandidateTitle NOTIFY changed)
    Q_PROPERTY(bool hasTranscript READ hasTranscript NOTIFY changed)
    Q_PROPERTY(MeetingChatService *chat READ chat NOTIFY chatChanged)
    Q_PROPERTY(int spooledCount READ spooledCount NOTIFY spoolChanged)
    Q_PROPERTY(QString spooledText READ spooledText NOTIFY spoolChanged)
    Q_PROPERTY(bool isTranscribingAgain READ isTranscribingAgain NOTIFY spoolChanged)

public:
    // Which notes area shows, by the first rule that holds, in this order.
    enum class NotesArea { Enhanced, Generating, Unsummarized, Empty };
    Q_ENUM(NotesArea)
    enum class DetailMode { Enhanced, Notes };
    Q_ENUM(DetailMode)

    static constexpr std::chrono::milliseconds archiveDelay{900};

    explicit MeetingDetail(QObject *parent = nullptr);
    explicit MeetingDetail(AppShell &shell, QObject *parent = nullptr);
    ~MeetingDetail() override;

    QString meetingId() const;
    void setMeetingId(const QString &id);
    bool exists() const { return m_meeting.has_value(); }
    QString title() const { return m_meeting ? m_meeting->title : QString(); }
    QString userNotes() const { return m_meeting ? m_meeting->userNotes : QString(); }
    QString summary() const { return m_meeting ? m_meeting->summary.value_or(QString()) : QString(); }
    bool summaryIsEmpty() const { return summary().isEmpty(); }
    bool isRecording() const { return m_meeting && m_meeting->isRecording; }
    bool titleIsUserEdited() const { return m_meeting && m_meeting->titleIsUserEdited; }
    bool hasTranscript() const { return m_hasSegments; }
    // The date and time, the length once there is one, and the auto-start while it is ahead.
    QString metaText() const;
    NotesArea notesArea() const;
    QString generateLabel() const;
    bool titleFocused() const { return m_titleFocused; }
    void setTitleFocused(bool focused);
    DetailMode detailMode() const { return m_detailMode; }
    void setDetailMode(DetailMode mode);
    bool isRegenerating() const;
    QString regenerateError() const;
    bool canRegenerate() const;
    QString regenerateHelp() const;
    // The calendar event this meeting could be linked to; none until calendars are read.
    QString linkCandidateTitle() const { return {}; }
    // The questions of this meeting; another meeting gets a new one, and the last one's answer
    // ends with it.
    MeetingChatService *chat() const { return m_chat.get(); }
    // Parts of the recording whose audio waits in the spool, and the line that says so.
    int spooledCount() const { return m_spooledCount; }
    QString spooledText() const;
    bool isTranscribingAgain() const;

    // A change in the title field. It counts as the user's own title only while the field has
    // the focus: a generated title arriving meanwhile does not.
    Q_INVOKABLE void setTitle(const QString &title);
    Q_INVOKABLE void setUserNotes(const QString &notes);
    Q_INVOKABLE void regenerate();
    // Put the stored Markdown (or the transcript) on the clipboard; nothing when there is none.
    Q_INVOKABLE void copySummary();
    Q_INVOKABLE void copyTranscript();
    // The chat's turns are written at once, without the typing delay.
    Q_INVOKABLE void saveChat();
    Q_INVOKABLE void linkToCandidate() {}
    Q_INVOKABLE void dismissLinkBanner();
    // Sends the spooled audio once more; the lines that come back land at their places.
    Q_INVOKABLE void transcribeAgain();

Q_SIGNALS:
    void meetingIdChanged();
    void changed();
    void notesAreaChanged();
    void titleFocusedChanged();
    void detailModeChanged();
    void regenerationChanged();
    void chatChanged();
    void spoolChanged();

private:
    void reload();
    void edit(const std::function<void(Meeting &)> &change);
    void scheduleArchive();
    void cancelArchive();
    void flushArchive();
    void updateNotesArea();
    void setRegenerator(NotesRegenerator *regenerator);
    std::unique_ptr<MeetingChatService> makeChat() const;
    void recountSpool();

    AppShell &m_shell;
    std::optional<QUuid> m_id;
    std::optional<Meeting> m_meeting;
    bool m_hasSegments = false;
    int m_spooledCount = 0;
    bool m_titleFocused = false;
    DetailMode m_detailMode = DetailMode::Enhanced;
    NotesArea m_notesArea = NotesArea::Empty;
    Clock::TimerId m_archiveDebounce = 0;
    QPointer<NotesRegenerator> m_regenerator;
    std::unique_ptr<MeetingChatService> m_chat;
};
