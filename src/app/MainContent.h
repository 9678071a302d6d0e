#pragma once

#include <QObject>
#include <QUrl>
#include <QUuid>
#include <QtQml/qqmlregistration.h>

#include <optional>

class AppShell;
class Clock;

// The main window's decisions: which page is on screen, and every request to record (from a
// button, a card, a reminder) turned into a start, with the confirmation while another
// recording runs. Pages are view state: a new window starts on the home page.
class MainContent : public QObject
{
    Q_OBJECT
    QML_ELEMENT
    Q_PROPERTY(Page page READ page NOTIFY selectionChanged)
    Q_PROPERTY(QString selectedId READ selectedId NOTIFY selectionChanged)
    Q_PROPERTY(bool homeEnabled READ homeEnabled NOTIFY selectionChanged)
    Q_PROPERTY(bool recordingBarVisible READ recordingBarVisible NOTIFY recordingBarVisibleChanged)
    Q_PROPERTY(bool confirming READ confirming NOTIFY confirmationChanged)
    Q_PROPERTY(QString confirmationTitle READ confirmationTitle NOTIFY confirmationChanged)

public:
    enum class Page { Home, Folder, Meeting, Settings };
    Q_ENUM(Page)

    explicit MainContent(QObject *parent = nullptr);
    MainContent(AppShell &shell, QObject *parent = nullptr);

    Page page() const;
    QString selectedId() const;
    // Off on the home page, and before anything has been chosen.
    bool homeEnabled() const { return m_selection.has_value() && m_selection->page != Page::Home; }
    // Hidden only on the settings page while nothing records.
    bool recordingBarVisible() const;
    bool confirming() const { return m_pendingRecord.has_value() || m_confirmQuickNote; }
    QString confirmationTitle() const;

    Q_INVOKABLE void showHome();
    Q_INVOKABLE void showSettings();
    Q_INVOKABLE void openMeeting(const QString &meetingId);
    Q_INVOKABLE void openFolder(const QString &folderId);

    // The toolbar's "Quick note": asks first while a recording runs.
    Q_INVOKABLE void quickNote();
    // A request to record into a meeting ("" for a new one).
    Q_INVOKABLE void startRecording(const QString &meetingId = QString());
    // Starts recording into the meeting, then opens its call link, if any.
    void startEventCapture(const QUuid &meetingId, const std::optional<QUrl> &conferenceUrl);
    // The answers of the confirmation: "Stop & Start", or "Cancel" and any other dismissal.
    Q_INVOKABLE void confirmStopAndStart();
    Q_INVOKABLE void cancelConfirmation();

    // Deleting the shown meeting or folder returns to the home page first.
    Q_INVOKABLE void deleteMeeting(const QString &meetingId);
    Q_INVOKABLE void deleteFolder(const QString &folderId);

    // The newest meeting marked as recording, if any ("" for none).
    Q_INVOKABLE QString currentRecordingMeetingId() const;

Q_SIGNALS:
    void selectionChanged();
    void recordingBarVisibleChanged();
    void confirmationChanged();

private:
    struct Selection
    {
        Page page;
        std::optional<QUuid> id;
        bool operator==(const Selection &) const = default;
    };
    struct PendingRecord
    {
        QUuid meetingId;
        std::optional<QUrl> conferenceUrl;
    };

    void select(std::optional<Selection> selection);
    void startAdHocRecording();
    void startInto(const QUuid &meetingId);
    void stopForNewRecording();
    std::optional<QUuid> currentRecordingMeeting() const;
    void onRecordingChanged();

    AppShell &m_shell;
    std::optional<Selection> m_selection;
    std::optional<PendingRecord> m_pendingRecord;
    bool m_confirmQuickNote = false;
    bool m_recordingBarVisible = true;
};
