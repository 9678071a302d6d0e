#pragma once

#include "Clock.h"
#include "ModelCredentials.h"
#include "Speaker.h"
#include "UtteranceSpool.h"

#include <QObject>
#include <QUuid>

#include <algorithm>
#include <deque>
#include <functional>
#include <optional>

class OndelStore;
class Settings;
class TranscriptionClient;

// Tries again the audio that waits in the spool: what a previous process left (at launch) and
// one meeting's (from its screen). Main thread; one upload at a time, one attempt each, oldest
// first. The first failure ends the pass, since the service is still away, and the audio stays.
// A meeting still recording is left to its own transcribers; the audio of a meeting that is
// gone from the store goes, with a log line.
class SpoolReplay : public QObject
{
    Q_OBJECT

public:
    // A line came back late: it goes into the store by the late-line rules.
    using Land = std::function<void(const QUuid &meetingId, const Speaker &speaker, const QString &text, double startOffset)>;

    SpoolReplay(UtteranceSpool &spool, OndelStore &store, Settings &settings, CredentialsSource &credentials, Clock &clock, Land land,
                QObject *parent = nullptr);
    ~SpoolReplay() override;

    // Every meeting with audio in the spool.
    void transcribeAll();
    void transcribe(const QUuid &meetingId);
    // Queued or under way.
    bool isTranscribing(const QUuid &meetingId) const;
    bool isIdle() const { return !m_current && m_waiting.empty(); }

Q_SIGNALS:
    void stateChanged();
    // Late lines reached this meeting: its archive file is due again.
    void meetingUpdated(const QUuid &meetingId);
    // Nothing more to try, for now.
    void idle();

private:
    void next();
    void endPass();

    UtteranceSpool &m_spool;
    OndelStore &m_store;
    Settings &m_settings;
    CredentialsSource &m_credentials;
    Land m_land;
    TranscriptionClient *m_client;

    std::deque<QUuid> m_waiting;
    std::optional<QUuid> m_current;
    QList<UtteranceSpool::Entry> m_entries; // of the current meeting, still to try
    bool m_landed = false;
    bool m_uploading = false;
};
