#include "AudioChunker.h"

#include <benchmark/benchmark.h>

#include <cmath>
#include <numbers>
#include <vector>

namespace {

constexpr int kSampleRate = 24000;
constexpr std::size_t kBlock = 480; // 10 ms, a typical capture block

// One second of a 440 Hz tone with a little overdrive, so the clamp is exercised too.
std::vector<float> oneSecondOfAudio()
{
    std::vector<float> samples(kSampleRate);
    for (std::size_t i = 0; i < samples.size(); ++i)
        samples[i] = 1.2f * std::sin(2.0f * std::numbers::pi_v<float> * 440.0f * float(i) / kSampleRate);
    return samples;
}

} // namespace

// The capture thread's share of the work: chunking and conversion, per second of audio.
static void BM_AudioChunkerFeed(benchmark::State &state)
{
    const std::vector<float> audio = oneSecondOfAudio();
    AudioChunker chunker;
    qsizetype bytes = 0;
    chunker.setOnChunkReady([&](QByteArrayView chunk) {
        bytes += chunk.size();
        benchmark::DoNotOptimize(chunk.data());
    });

    for (auto _ : state) {
        for (std::size_t offset = 0; offset < audio.size(); offset += kBlock)
            chunker.feed(std::span(audio).subspan(offset, kBlock));
    }

    benchmark::DoNotOptimize(bytes);
    // One iteration is one second of audio; a rate counter divides by CPU time.
    state.counters["audio_s_per_cpu_s"] = benchmark::Counter(double(state.iterations()), benchmark::Counter::kIsRate);
}
BENCHMARK(BM_AudioChunkerFeed);
