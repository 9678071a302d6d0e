#pragma once

#include "MeetingArchive.h"
#include "ModelCredentials.h"
#include "NotesGenerator.h"

#include <QObject>
#include <QUuid>

class OndelStore;

// Generates a stored meeting's title and notes anew, as the meeting screen's regenerate does:
// the old ones stay until the new ones arrive, and a failure changes nothing stored.
// Main thread only.
class NotesRegenerator : public QObject
{
    Q_OBJECT
    Q_PROPERTY(bool isRegenerating READ isRegenerating NOTIFY isRegeneratingChanged)
    Q_PROPERTY(QString regenerateError READ regenerateError NOTIFY regenerateErrorChanged)

public:
    static inline const QString noCredentialsText = QStringLiteral("Sign in or add a Vrel key in Settings to generate summaries.");

    // `archive` may be absent: nothing is archived then.
    NotesRegenerator(OndelStore &store, CredentialsSource &credentials, NotesGenerator &generator, MeetingArchive *archive,
                     QObject *parent = nullptr);

    bool isRegenerating() const { return m_isRegenerating; }
    // Empty when there is no message.
    QString regenerateError() const { return m_error; }

    // Starts a regeneration and returns true; finished() follows. Returns false when nothing
    // started: no credentials (regenerateError() says so), an unknown meeting (likewise), an
    // empty transcript (silently), or a regeneration already running.
    bool regenerate(const QUuid &meetingId);

Q_SIGNALS:
    void isRegeneratingChanged();
    void regenerateErrorChanged();
    void finished(const QUuid &meetingId, bool succeeded);

private:
    void setRegenerating(bool value);
    void setError(const QString &value);

    OndelStore &m_store;
    CredentialsSource &m_credentials;
    NotesGenerator &m_generator;
    MeetingArchive *m_archive;
    bool m_isRegenerating = false;
    QString m_error;
};
