#pragma once

#include "ModelCredentials.h"

#include <QByteArrayView>
#include <QDateTime>
#include <QFuture>
#include <QString>
#include <QUuid>

#include <functional>
#include <memory>
#include <optional>

class UtteranceSpool;

// Turns one audio stream into finished lines. sendAudio runs on the capture thread and must not
// block; uploads run one at a time, in order, and the tail of that queue can be awaited.
class Transcriber
{
public:
    virtual ~Transcriber() = default;

    virtual void connect() = 0;
    // One chunk as little-endian 16-bit PCM, valid for the call only.
    virtual void sendAudio(QByteArrayView pcmChunk) = 0;
    // Sends what is open, then tries once more the audio that failed in this recording; called at stop.
    virtual void commitBuffer() = 0;
    virtual void disconnect() = 0;
    // The last upload queued, finished when every upload before it has ended.
    virtual QFuture<void> uploadChain() const = 0;

    // All three run on the upload's thread.
    std::function<void(const QString &text, double startOffset)> onTranscriptCompleted;
    // A line of audio that failed earlier and was tried again from the spool: it lands at its
    // offset among lines already stored, so the repeat rule is the store's, not the stream's.
    std::function<void(const QString &text, double startOffset)> onLateTranscript;
    std::function<void(const QString &description)> onError;
};

struct TranscriberConfig
{
    ModelCredentials credentials;
    QString recordingId;
    std::optional<QString> language;
    QDateTime sessionStart;
    // Where each closed utterance is kept until its answer is handled; none keeps nothing.
    UtteranceSpool *spool = nullptr;
    QUuid meetingId{};
    QString speaker{}; // the raw value, "Me" or "Them"
};

using TranscriberFactory = std::function<std::shared_ptr<Transcriber>(const TranscriberConfig &config)>;
