#include "AudioChunker.h"
#include "AudioFileReader.h"
#include "SpokenAudio.h"
#include "pocketsphinx/PocketSphinxRecognizer.h"
#include "Clock.h"

#include <QCoreApplication>
#include <QTemporaryDir>
#include <QThread>

#include <benchmark/benchmark.h>

#include <ctime>
#include <sys/resource.h>

namespace {

constexpr std::size_t kBlock = 2400; // 0.1 s at 24 kHz

double processCpuSeconds()
{
    timespec t{};
    clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &t);
    return double(t.tv_sec) + double(t.tv_nsec) / 1e9;
}

double peakRssMegabytes()
{
    rusage usage{};
    getrusage(RUSAGE_SELF, &usage);
    return double(usage.ru_maxrss) / 1024.0;
}

// A minute of talk: flite's sentences with short pauses between them, as a meeting's stream.
const std::vector<float> &minuteOfSpeech()
{
    static const std::vector<float> minute = [] {
        QTemporaryDir dir;
        const QStringList sentences = {QStringLiteral("we ship the new release on friday morning"),
                                       QStringLiteral("could you share the numbers for the third quarter"),
                                       QStringLiteral("the review is moved to next week after the planning meeting")};
        std::vector<float> out;
        for (int i = 0; out.size() < 60u * 24000u; ++i) {
            const QString path = dir.filePath(QStringLiteral("%1.wav").arg(i % sentences.size()));
            if (i < sentences.size())
                speechFile(path, sentences[i]);
            const AudioFileReader::Result spoken = AudioFileReader::read(path);
            out.insert(out.end(), spoken.samples.begin(), spoken.samples.end());
            out.resize(out.size() + 12000, 0.0f);
        }
        out.resize(60u * 24000u);
        return out;
    }();
    return minute;
}

// Until the recognisers' threads have decoded all they were given, handing drafts over meanwhile.
void waitDecoded(const std::vector<std::unique_ptr<PocketSphinxRecognizer>> &live, std::uint64_t each)
{
    for (const auto &r : live)
        while (r->decodedSamples() < each) {
            QCoreApplication::processEvents();
            QThread::msleep(5);
        }
}

} // namespace

// CPU of one minute of recording, both streams, on the capture side: chunking as always, and
// with the live draft on, the two PocketSphinx recognisers (resampling and decoding on their own
// threads). The model's loading is counted apart, once per recording. The minute is fed at once
// into rings large enough to hold it, so nothing is dropped and the figure is the whole work.
static void BM_LiveDraftCpuPerMinuteOfRecording(benchmark::State &state)
{
    const bool liveDraft = state.range(0) != 0;
    const std::vector<float> &minute = minuteOfSpeech();
    if (liveDraft && !PocketSphinxModel::english().isInstalled()) {
        state.SkipWithError("pocketsphinx-en-us is not installed");
        return;
    }
    for (auto _ : state) {
        AudioChunker mic;
        AudioChunker system;
        mic.setOnChunkReady([](QByteArrayView chunk) { benchmark::DoNotOptimize(chunk.data()); });
        system.setOnChunkReady([](QByteArrayView chunk) { benchmark::DoNotOptimize(chunk.data()); });
        std::vector<std::unique_ptr<PocketSphinxRecognizer>> live;
        double loadCpu = 0;
        if (liveDraft) {
            const double before = processCpuSeconds();
            for (int i = 0; i < 2; ++i) {
                live.push_back(std::make_unique<PocketSphinxRecognizer>(PocketSphinxModel::english(), Clock::system(), 24000.0,
                                                                        std::chrono::seconds(70)));
                live.back()->onDraft = [](const QString &text) { benchmark::DoNotOptimize(text.constData()); };
                live.back()->start();
                live.back()->feed(std::span(minute).first(kBlock)); // loaded once this is decoded
            }
            waitDecoded(live, kBlock);
            loadCpu = processCpuSeconds() - before;
        }
        const double before = processCpuSeconds();
        for (std::size_t at = kBlock; at < minute.size(); at += kBlock) {
            const std::span block = std::span(minute).subspan(at, kBlock);
            mic.feed(block);
            system.feed(block);
            for (const auto &r : live)
                r->feed(block);
        }
        waitDecoded(live, minute.size());
        const double cpu = processCpuSeconds() - before;
        for (const auto &r : live) {
            state.counters["dropped_samples"] = double(r->droppedSamples());
            r->stop();
        }
        state.counters["cpu_s_per_audio_min"] = cpu * 60.0 / (double(minute.size() - kBlock) / 24000.0);
        state.counters["model_load_cpu_s"] = loadCpu;
        state.counters["peak_rss_mb"] = peakRssMegabytes();
    }
}
BENCHMARK(BM_LiveDraftCpuPerMinuteOfRecording)->ArgName("live_draft")->Arg(0)->Arg(1)->Iterations(1)->Unit(benchmark::kSecond)->UseRealTime();
