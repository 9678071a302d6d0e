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
        return [this](QByteArrayView chunk) { chunks.append(chunk.toByteArray()); };
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
    // 16-bit little-endian PCM.
    void conversion_data()
    {
        QTest::addColumn<float>("sample");
        QTest::addColumn<QByteArray>("bytes");

        QTest::newRow("above range clamps to 32767") << 1.5f << QByteArray::fromHex("ff7f");
        QTest::newRow("below range clamps symmetric, -32767") << -1.5f << QByteArray::fromHex("0180");
        QTest::newRow("infinity clamps") << std::numeric_limits<float>::infinity() << QByteArray::fromHex("ff7f");
        QTest::newRow("half truncates to 16383") << 0.5f << QByteArray::fromHex("ff3f");
        QTest::newRow("negative half truncates toward zero") << -0.5f << QByteArray::fromHex("01c0");
        QTest::newRow("below one step") << -0.00003f << QByteArray::fromHex("0000");
    }
    void conversion()
    {
        QFETCH(float, sample);
        QFETCH(QByteArray, bytes);
        QCOMPARE(AudioChunker::toPcm16(std::span(&sample, 1)), bytes);
    }

    void chunking_data()
    {
        QTest::addColumn<QList<int>>("feeds");
        QTest::addColumn<QList<int>>("chunks");
        QTest::addColumn<int>("flushed");

        QTest::newRow("one short of a chunk") << QList<int>{2399} << QList<int>{} << 2399;
        QTest::newRow("the last sample completes it") << QList<int>{2399, 1} << QList<int>{2400} << 0;
        QTest::newRow("two chunks and a rest") << QList<int>{5000} << QList<int>{2400, 2400} << 200;
        QTest::newRow("empty feed") << QList<int>{0} << QList<int>{} << 0;
        QTest::newRow("whole blocks, then one behind a rest") << QList<int>{2400, 4800, 100, 4700, 2450}
                                                               << QList<int>(6, 2400) << 50;
        QTest::newRow("chunks straddle feeds, a feed makes several") << QList<int>{333, 1, 2666, 4000, 7, 9993}
                                                                     << QList<int>(7, 2400) << 200;
    }
    void chunking()
    {
        QFETCH(QList<int>, feeds);
        QFETCH(QList<int>, chunks);
        QFETCH(int, flushed);

        AudioChunker chunker;
        Sink sink;
        chunker.setOnChunkReady(sink.callback());
        std::vector<float> fed;
        for (int count : feeds) {
            const std::vector<float> block = ramp(std::size_t(count));
            chunker.feed(block);
            fed.insert(fed.end(), block.begin(), block.end());
        }
        QCOMPARE(sink.lengths(), chunks);
        QCOMPARE(chunker.bufferedSamples(), flushed);

        // The flush emits the rest once, and a second flush nothing.
        if (flushed > 0)
            chunks.append(flushed);
        chunker.flush();
        chunker.flush();
        QCOMPARE(sink.lengths(), chunks);
        QCOMPARE(sink.chunks.join(), AudioChunker::toPcm16(fed)); // every sample once, in order
    }

    void clearedCallbackGetsNothingMore()
    {
        AudioChunker chunker(100);
        int calls = 0;
        // Cleared from inside the callback: the feed's remaining chunks go nowhere.
        chunker.setOnChunkReady([&](QByteArrayView) {
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

    void concurrentFeedAndFlushKeepEverySample()
    {
        constexpr qint64 blocks = 4000;
        const std::vector<float> block = ramp(480);
        const QList<std::int16_t> blockValues = decode(AudioChunker::toPcm16(block));
        const qint64 blockSum = std::accumulate(blockValues.begin(), blockValues.end(), qint64(0));

        AudioChunker chunker;
        std::atomic<qint64> samplesOut{0}, sumOut{0};
        chunker.setOnChunkReady([&](QByteArrayView chunk) {
            const QList<std::int16_t> values = decode(chunk.toByteArray());
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
};

QTEST_GUILESS_MAIN(TestAudioChunker)
#include "tst_audiochunker.moc"
