#include "SpoolReplay.h"

#include "CustomDictionary.h"
#include "Log.h"
#include "OndelStore.h"
#include "TranscriptionClient.h"
#include "TranscriptionLanguage.h"
#include "Uuid.h"
#include "VrelTranscriber.h"

namespace {

void log(const QString &line)
{
    qCInfo(lcOndel).noquote() << line;
}

} // namespace

SpoolReplay::SpoolReplay(UtteranceSpool &spool, OndelStore &store, Settings &settings, CredentialsSource &credentials, Clock &clock,
                         Land land, QObject *parent)
    : QObject(parent)
    , m_spool(spool)
    , m_store(store)
    , m_settings(settings)
    , m_credentials(credentials)
    , m_land(std::move(land))
    , m_client(new TranscriptionClient(clock, this))
{
}

SpoolReplay::~SpoolReplay() = default;

void SpoolReplay::transcribeAll()
{
    for (const QUuid &id : m_spool.meetings())
        transcribe(id);
}

void SpoolReplay::transcribe(const QUuid &meetingId)
{
    if (isTranscribing(meetingId))
        return;
    m_waiting.push_back(meetingId);
    Q_EMIT stateChanged();
    if (!m_uploading)
        next();
}

bool SpoolReplay::isTranscribing(const QUuid &meetingId) const
{
    return m_current == meetingId || std::find(m_waiting.begin(), m_waiting.end(), meetingId) != m_waiting.end();
}

void SpoolReplay::next()
{
    while (true) {
        if (m_entries.isEmpty()) {
            if (m_current && std::exchange(m_landed, false))
                Q_EMIT meetingUpdated(*m_current);
            m_current.reset();
            if (m_waiting.empty()) {
                endPass();
                return;
            }
            const QUuid id = m_waiting.front();
            m_waiting.pop_front();
            const std::optional<Meeting> meeting = m_store.meeting(id);
            if (!meeting) {
                log(QStringLiteral("Removed the spooled audio of a deleted meeting (%1 part(s))").arg(m_spool.count(id)));
                m_spool.removeMeeting(id);
                continue;
            }
            if (meeting->isRecording)
                continue; // its own transcribers have it
            m_entries = m_spool.entries(id);
            if (m_entries.isEmpty())
                continue;
            m_current = id;
            log(QStringLiteral("Transcribing %1 spooled part(s) again").arg(m_entries.size()));
            continue;
        }

        const std::optional<ModelCredentials> credentials = m_credentials.modelCredentials();
        if (!credentials) {
            log(QStringLiteral("Spooled audio waits for credentials"));
            endPass();
            return;
        }
        const UtteranceSpool::Entry entry = m_entries.takeFirst();
        const std::optional<QByteArray> wav = m_spool.read(entry);
        if (!wav)
            continue; // damaged (logged) or gone
        const TranscriptionRequest::Fields fields{QLatin1String(VrelTranscriber::model), CustomDictionary::promptFragment(m_settings),
                                                  TranscriptionLanguage::code(TranscriptionLanguage::current(m_settings))};
        m_uploading = true;
        m_client->send(*credentials, uuidText(entry.meetingId), fields, *wav, [this, entry](const TranscriptionOutcome &outcome) {
            m_uploading = false;
            if (!outcome.ok) {
                log(QStringLiteral("Spooled audio not transcribed yet (%1 part(s)): %2").arg(m_entries.size() + 1).arg(outcome.error));
                endPass();
                return;
            }
            const QString text = outcome.text.trimmed();
            if (!text.isEmpty() && m_land) {
                m_land(entry.meetingId, Speaker::fromRawOrMe(entry.speaker), text, entry.startOffset);
                m_landed = true;
            }
            m_spool.remove(entry); // handled, whatever the filters left of it
            next();
        });
        return;
    }
}

void SpoolReplay::endPass()
{
    if (m_current && std::exchange(m_landed, false))
        Q_EMIT meetingUpdated(*m_current);
    m_current.reset();
    m_entries.clear();
    m_waiting.clear();
    Q_EMIT stateChanged();
    Q_EMIT idle();
}
