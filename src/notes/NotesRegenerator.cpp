#include "NotesRegenerator.h"

#include "Graphemes.h"
#include "Log.h"
#include "OndelStore.h"

NotesRegenerator::NotesRegenerator(OndelStore &store, CredentialsSource &credentials, NotesGenerator &generator,
                                   MeetingArchive *archive, QObject *parent)
    : QObject(parent)
    , m_store(store)
    , m_credentials(credentials)
    , m_generator(generator)
    , m_archive(archive)
{
}

bool NotesRegenerator::regenerate(const QUuid &meetingId)
{
    if (m_isRegenerating)
        return false;
    if (!m_credentials.credentialsKnown()) {
        // The stored keys are still being read: the press waits for them instead of asking to sign in.
        setRegenerating(true);
        m_credentials.whenCredentialsKnown(this, [this, meetingId] {
            setRegenerating(false);
            regenerate(meetingId);
        });
        return true;
    }
    const std::optional<ModelCredentials> credentials = m_credentials.modelCredentials();
    if (!credentials) {
        setError(noCredentialsText);
        return false;
    }
    const std::optional<Meeting> meeting = m_store.meeting(meetingId);
    if (!meeting) {
        setError(QStringLiteral("This meeting no longer exists."));
        return false;
    }
    const QString transcript = Meeting::formattedTranscript(m_store.segments(meetingId));
    if (transcript.isEmpty())
        return false;

    setRegenerating(true);
    setError({});
    qCInfo(lcOndel).noquote() << QStringLiteral("Regenerating summary (transcript %1 chars)").arg(Graphemes::count(transcript));
    m_generator.generate(*credentials, *meeting, transcript, this, [this, meetingId](const NotesResult &result) {
        if (!result.error.isEmpty()) {
            setRegenerating(false);
            setError(result.error);
            qCInfo(lcOndel).noquote() << QStringLiteral("Regenerate failed: %1").arg(result.error);
            Q_EMIT finished(meetingId, false);
            return;
        }
        m_store.update(meetingId, [&](Meeting &m) {
            // Checked now: the user may have renamed the meeting meanwhile.
            if (m.allowsAITitle() && result.title)
                m.title = *result.title;
            m.summary = result.notes;
        });
        if (m_archive)
            m_archive->archive(meetingId);
        setRegenerating(false);
        qCInfo(lcOndel).noquote() << QStringLiteral("Summary regenerated (%1 chars)").arg(Graphemes::count(result.notes));
        Q_EMIT finished(meetingId, true);
    });
    return true;
}

void NotesRegenerator::setRegenerating(bool value)
{
    if (m_isRegenerating == value)
        return;
    m_isRegenerating = value;
    Q_EMIT isRegeneratingChanged();
}

void NotesRegenerator::setError(const QString &value)
{
    if (m_error == value)
        return;
    m_error = value;
    Q_EMIT regenerateErrorChanged();
}
