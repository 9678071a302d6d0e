#include "AudioChunker.h"

#include <QTest>

#include <atomic>
#include <cstdint>
#include <limits>
#include <numeric>
#include <thread>
#include <vector>

namespace {

std::vector<float> ramp(std::size_t count)
{
    std::vector<float> samples(count);
    for (std::size_t i = 0; i < count; ++i)
        samples[i] = float(i % 20000) / 10000.0f - 1.0f;
    return samples;
}

QList<std::int16_t> decode(const QByteArray &pcm)
{
    QList<std::int16_t> values;
    for (qsizetype i = 0; i + 1 < pcm.size(); i += 2)
        values.append(std::int16_t(quint8(pcm[i]) | (quint8(pcm[i + 1]) << 8)));
    return values;
}

// Collects every chunk as its PCM bytes.
struct Sink
{
    QList<QByteArray> chunks;

    AudioChunker::Callback callback()
    {
        return [this](const QString &chunk) { chunks.append(QByteArray::fromBase64(chunk.toLatin1())); };
    }
    QList<int> lengths() const
    {
        QList<int> result;
        for (const QByteArray &chunk : chunks)
            result.append(int(chunk.size() / 2));
        return result;
    }
};

} // namespace

class TestAudioChunker : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void conversion_data();
    void conversion();
    void bytesAreLittleEndianBase64();
    void chunking_data();
    void chunking();
    void chunksFromSeveralFeedsStayInOrder();
    void clearedCallbackGetsNothingMore();
    void concurrentFeedAndFlushKeepEverySample();
};

void TestAudioChunker::conversion_data()
{
    QTest::addColumn<float>("sample");
    QTest::addColumn<int>("expected");

    QTest::newRow("above range clamps") << 1.5f << 32767;
    QTest::newRow("below range clamps symmetric") << -1.5f << -32767;
    QTest::newRow("infinity clamps") << std::numeric_limits<float>::infinity() << 32767;
    QTest::newRow("half truncates") << 0.5f << 16383;
    QTest::newRow("negative half truncates toward zero") << -0.5f << -16383;
    QTest::newRow("below one step") << -0.00003f << 0;
    QTest::newRow("zero") << 0.0f << 0;
}

void TestAudioChunker::conversion()
{
    QFETCH(float, sample);
    QFETCH(int, expected);
    QCOMPARE(decode(AudioChunker::toPcm16(std::span(&sample, 1))), QList<std::int16_t>{std::int16_t(expected)});
}

void TestAudioChunker::bytesAreLittleEndianBase64()
{
    const std::vector<float> samples{0.5f, -0.5f};
    QCOMPARE(AudioChunker::toPcm16(samples), QByteArray("\xff\x3f\x01\xc0", 4));

    AudioChunker chunker(2);
    QStringList chunks;
    chunker.setOnChunkReady([&](const QString &chunk) { chunks.append(chunk); });
    chunker.feed(samples);
    QCOMPARE(chunks, QStringList{QStringLiteral("/z8BwA==")});
}

void TestAudioChunker::chunking_data()
{
    QTest::addColumn<QList<int>>("feeds");
    QTest::addColumn<QList<int>>("chunks");
    QTest::addColumn<int>("flushed");

    QTest::newRow("one short of a chunk") << QList<int>{2399} << QList<int>{} << 2399;
    QTest::newRow("the last sample completes it") << QList<int>{2399, 1} << QList<int>{2400} << 0;
    QTest::newRow("two chunks and a rest") << QList<int>{5000} << QList<int>{2400, 2400} << 200;
    QTest::newRow("10 ms blocks") << QList<int>(11, 480) << QList<int>{2400, 2400} << 480;
    QTest::newRow("empty feed") << QList<int>{0} << QList<int>{} << 0;
}

void TestAudioChunker::chunking()
{
    QFETCH(QList<int>, feeds);
    QFETCH(QList<int>, chunks);
    QFETCH(int, flushed);

    AudioChunker chunker;
    Sink sink;
    chunker.setOnChunkReady(sink.callback());
    for (int count : feeds)
        chunker.feed(ramp(std::size_t(count)));
    QCOMPARE(sink.lengths(), chunks);
    QCOMPARE(chunker.bufferedSamples(), flushed);

    // The flush emits the rest once, and a second flush nothing.
    if (flushed > 0)
        chunks.append(flushed);
    chunker.flush();
    chunker.flush();
    QCOMPARE(sink.lengths(), chunks);
}

void TestAudioChunker::chunksFromSeveralFeedsStayInOrder()
{
    const std::vector<float> input = ramp(17000);
    AudioChunker chunker(1000);
    Sink sink;
    chunker.setOnChunkReady(sink.callback());

    // Chunks straddle feeds, and one feed yields several chunks.
    std::size_t offset = 0;
    for (std::size_t block : {333u, 1u, 2666u, 4000u, 7u, 9993u}) {
        chunker.feed(std::span(input).subspan(offset, block));
        offset += block;
    }
    chunker.flush();
    QCOMPARE(sink.chunks.size(), 17);
    QCOMPARE(sink.chunks.join(), AudioChunker::toPcm16(input));
}

void TestAudioChunker::clearedCallbackGetsNothingMore()
{
    AudioChunker chunker(100);
    int calls = 0;
    // Cleared from inside the callback: the feed's remaining chunks go nowhere.
    chunker.setOnChunkReady([&](const QString &) {
        ++calls;
        chunker.clearOnChunkReady();
    });
    chunker.feed(ramp(350));
    QCOMPARE(calls, 1);

    Sink sink;
    chunker.setOnChunkReady(sink.callback());
    chunker.flush();
    QCOMPARE(sink.lengths(), QList<int>{50});
    QCOMPARE(calls, 1);
}

void TestAudioChunker::concurrentFeedAndFlushKeepEverySample()
{
    constexpr qint64 blocks = 4000;
    const std::vector<float> block = ramp(480);
    const QList<std::int16_t> blockValues = decode(AudioChunker::toPcm16(block));
    const qint64 blockSum = std::accumulate(blockValues.begin(), blockValues.end(), qint64(0));

    AudioChunker chunker;
    std::atomic<qint64> samplesOut{0}, sumOut{0};
    chunker.setOnChunkReady([&](const QString &chunk) {
        const QList<std::int16_t> values = decode(QByteArray::fromBase64(chunk.toLatin1()));
        samplesOut += values.size();
        sumOut += std::accumulate(values.begin(), values.end(), qint64(0));
    });

    std::atomic<bool> done{false};
    std::thread feeder([&] {
        for (qint64 i = 0; i < blocks; ++i)
            chunker.feed(block);
        done = true;
    });
    while (!done)
        chunker.flush();
    feeder.join();
    chunker.flush();

    // A lost or doubled sample shows in the count; one of each in the sum.
    QCOMPARE(samplesOut.load(), blocks * qint64(block.size()));
    QCOMPARE(sumOut.load(), blocks * blockSum);
}

QTEST_GUILESS_MAIN(TestAudioChunker)
#include "tst_audiochunker.moc"
