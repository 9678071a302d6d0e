#pragma once

// A real transcriber against a real local HTTP server, on a fake clock.

#include "FakeClock.h"
#include "Settings.h"
#include "TestHttpServer.h"
#include "VrelTranscriber.h"

#include <QMutex>
#include <QTemporaryDir>
#include <QTest>
#include <QtEndian>

#include <cmath>

// 100 ms of a tone, as the chunker hands it on.
inline QByteArray toneChunk(double amplitude)
{
    QByteArray pcm(4800, Qt::Uninitialized);
    for (int i = 0; i < 2400; ++i)
        qToLittleEndian<qint16>(qint16(std::lround(amplitude * 32767 * std::sin(i * 0.0785))), pcm.data() + 2 * i);
    return pcm;
}

inline QByteArray textJson(const QByteArray &text) { return "{\"text\":\"" + text + "\"}"; }
inline QByteArray httpAnswer(const QByteArray &json)
{
    return "HTTP/1.1 200 OK\r\nContent-Type: application/json\r\nContent-Length: " + QByteArray::number(json.size()) + "\r\n\r\n" + json;
}
// Chunks in the WAV file of a transcription request.
inline int utteranceChunks(const QByteArray &body)
{
    return int(qFromLittleEndian<quint32>(body.constData() + body.indexOf("RIFF") + 40) / 4800);
}

// The fake clock, counting the retry pauses asked of it.
class WatchedClock final : public Clock
{
public:
    QDateTime now() const override { return fake.now(); }
    TimerId schedule(std::chrono::milliseconds delay, QObject *context, std::function<void()> action) override
    {
        pauses += delay == VrelTranscriber::retryPause;
        return fake.schedule(delay, context, std::move(action));
    }
    void cancel(TimerId id) override { fake.cancel(id); }
    // Waits for `done`, moving the clock over each retry pause as it comes.
    bool waitFor(const std::function<bool()> &done)
    {
        return QTest::qWaitFor([&] {
            for (; passed < pauses; ++passed)
                fake.advance(VrelTranscriber::retryPause);
            return done();
        }, 10000);
    }
    FakeClock fake;
    std::atomic<int> pauses = 0;
    int passed = 0;
};

struct TranscriberRig
{
    QTemporaryDir dir;
    Settings settings{dir.filePath(QStringLiteral("settings.json"))};
    TestHttpServer server;
    WatchedClock clock;
    std::shared_ptr<VrelTranscriber> transcriber;
    mutable QMutex mutex;
    QStringList lines, errors; // lines as "text@offset"

    explicit TranscriberRig(std::optional<QString> language = std::nullopt)
    {
        const TranscriberConfig config{ModelCredentials{server.url(), QStringLiteral("test-key-123"), false},
                                       QStringLiteral("6A1F0C2E-93B4-4D5A-8E7F-0123456789AB"), language, clock.now()};
        transcriber = std::static_pointer_cast<VrelTranscriber>(VrelTranscriber::factory(clock, settings)(config));
        transcriber->onTranscriptCompleted = [this](const QString &text, double offset) {
            QMutexLocker lock(&mutex);
            lines << QStringLiteral("%1@%2").arg(text).arg(offset, 0, 'f', 2);
        };
        transcriber->onError = [this](const QString &description) {
            QMutexLocker lock(&mutex);
            errors << description;
        };
        transcriber->connect();
    }
    // Speech, then silence: with seven silent chunks, one closed utterance.
    void speak(int speech, int silence = 7)
    {
        for (int i = 0; i < speech + silence; ++i)
            transcriber->sendAudio(toneChunk(i < speech ? 0.1 : 0.0));
    }
    // Waits for the queue's end.
    bool drain()
    {
        const QFuture<void> tail = transcriber->uploadChain();
        return clock.waitFor([&] { return tail.isFinished(); });
    }
    QStringList linesNow() const { QMutexLocker lock(&mutex); return lines; }
    QStringList errorsNow() const { QMutexLocker lock(&mutex); return errors; }
};
