#pragma once

#include <QByteArray>
#include <QHash>
#include <QList>
#include <QMutex>
#include <QObject>
#include <QString>
#include <QUuid>

#include <optional>

// The audio of closed utterances, kept on disk from before their upload until their answer has
// been handled, so that neither a failing speech service nor a dying process loses speech.
//
// One folder per meeting under the root, one WAV file per utterance, named
// "<start offset in ms, 10 digits>-<Me|Them>-<8 hex digits>.wav": the name alone says where
// the line lands, and sorting the names sorts by time. A file is written under a ".part" name
// and renamed, so a file with a proper name is whole. Audio only: no credentials, no text.
//
// Bounded (`Limits`): past the limit of one meeting, or of all, the oldest files go, each with
// a log line. Safe to use from any thread.
//
// A write runs for every utterance while recording, so it neither lists the folders (the bytes
// are counted once and then kept up to date; the folders are listed again only when a limit may
// have been passed) nor makes a folder anew each time: an emptied folder stays until meetings()
// sweeps it.
class UtteranceSpool : public QObject
{
    Q_OBJECT

public:
    // Bytes kept at most: about 45 minutes of continuous speech per meeting, 6 hours in all.
    struct Limits
    {
        qint64 meeting = qint64(128) << 20;
        qint64 overall = qint64(1) << 30;
    };

    struct Entry
    {
        QUuid meetingId;
        QString speaker; // the raw value: "Me" or "Them"
        double startOffset = 0;
        QString path;

        bool operator==(const Entry &) const = default;
    };

    explicit UtteranceSpool(const QString &root, QObject *parent = nullptr);
    UtteranceSpool(const QString &root, Limits limits, QObject *parent = nullptr);
    ~UtteranceSpool() override;

    // "Spool" in the data folder.
    static QString defaultRoot();
    QString root() const { return m_root; }

    // Keeps one utterance's WAV file. Returns none (with a log line) when it could not be written.
    std::optional<Entry> add(const QUuid &meetingId, const QString &speaker, double startOffset, const QByteArray &wav);
    // The answer was handled: the file goes.
    void remove(const Entry &entry);
    // Every file of a meeting, as when the user deletes it.
    void removeMeeting(const QUuid &meetingId);

    // Oldest first.
    QList<Entry> entries(const QUuid &meetingId) const;
    int count(const QUuid &meetingId) const;
    bool holdsAudio(const QUuid &meetingId) const { return count(meetingId) > 0; }
    // The meetings whose folder holds files; the folders left empty go.
    QList<QUuid> meetings();

    // The WAV file of an entry. A file that is no 16-bit mono WAV of whole samples is damaged:
    // it is removed with a log line and none comes back, as for a file that is gone.
    std::optional<QByteArray> read(const Entry &entry);

Q_SIGNALS:
    // A file of this meeting came or went; emitted on the thread that changed it.
    void changed(const QUuid &meetingId);

private:
    QString folder(const QUuid &meetingId) const;
    QList<QUuid> folders() const;
    // Whether `bytes` more may pass a limit, by the count kept in memory.
    bool mayPassLimit(const QUuid &meetingId, qint64 bytes);
    void enforceLimits(const QUuid &meetingId, const QString &keep);
    void drop(const QString &path, const QString &why);
    void forgetCount();

    const QString m_root;
    const Limits m_limits;
    QMutex m_writeLock; // one writer at a time checks the limits; a sweep waits for it
    QMutex m_countLock; // the bytes only, never held across a file operation
    bool m_counted = false;
    qint64 m_overallBytes = 0;
    QHash<QUuid, qint64> m_meetingBytes;
};
