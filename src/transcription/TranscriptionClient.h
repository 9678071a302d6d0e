#pragma once

#include "Clock.h"
#include "ModelCredentials.h"
#include "TranscriptionAnswer.h"
#include "TranscriptionRequest.h"

#include <QObject>

#include <chrono>
#include <functional>

class HttpPostConnection;

// Posts one utterance to the speech-to-text service and reads the answer. Lives on one thread
// and is used there only. The time-out runs on the injected clock, so tests can move past it.
// The uploads of one stream share one kept-alive connection with Nagle's algorithm off, so that
// an utterance's last bytes leave at once (see HttpPostConnection).
class TranscriptionClient : public QObject
{
public:
    static constexpr std::chrono::seconds timeout{30};

    using Done = std::function<void(const TranscriptionOutcome &outcome)>;

    TranscriptionClient(Clock &clock, QObject *parent = nullptr);
    ~TranscriptionClient() override;

    // One request at a time; `done` is called exactly once, on this object's thread.
    void send(const ModelCredentials &credentials, const QString &recordingId, const TranscriptionRequest::Fields &fields,
              const QByteArray &wav, Done done);

private:
    Clock &m_clock;
    HttpPostConnection *m_connection = nullptr; // made on first use, on this object's thread
    Clock::TimerId m_timeoutTimer = 0;
};
