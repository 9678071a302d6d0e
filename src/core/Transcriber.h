#pragma once

#include "ModelCredentials.h"

#include <QDateTime>
#include <QFuture>
#include <QString>

#include <functional>
#include <memory>
#include <optional>

// Turns one audio stream into finished lines. sendAudio runs on the capture thread and must not
// block; uploads run one at a time, in order, and the tail of that queue can be awaited.
class Transcriber
{
public:
    virtual ~Transcriber() = default;

    virtual void connect() = 0;
    virtual void sendAudio(const QString &base64Chunk) = 0;
    // Sends what is open; called at stop.
    virtual void commitBuffer() = 0;
    virtual void disconnect() = 0;
    // The last upload queued, finished when every upload before it has ended.
    virtual QFuture<void> uploadChain() const = 0;

    // Both run on the upload's thread.
    std::function<void(const QString &text, double startOffset)> onTranscriptCompleted;
    std::function<void(const QString &description)> onError;
};

struct TranscriberConfig
{
    ModelCredentials credentials;
    QString recordingId;
    std::optional<QString> language;
    QDateTime sessionStart;
};

using TranscriberFactory = std::function<std::shared_ptr<Transcriber>(const TranscriberConfig &config)>;
