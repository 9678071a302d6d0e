#pragma once

#include "LiveDraft.h"
#include "PocketSphinxDecoder.h"

#include <chrono>
#include <cstdint>
#include <memory>

class Clock;

// The live draft of one stream from a PocketSphinx decoder in this process; no audio leaves it.
// The capture thread only copies its samples into a bounded ring (a block that does not fit is
// dropped and counted, so capture never waits); the recogniser's own thread loads the model,
// resamples to 16 kHz, decodes, and hands each new guess to `onDraft` on the main thread.
// Made, started, stopped and destroyed on the main thread.
class PocketSphinxRecognizer final : public LiveDraftRecognizer
{
public:
    // Longest phrase, in wall-clock seconds, before the decoder starts afresh.
    static constexpr double phraseLimit = 50.0;

    PocketSphinxRecognizer(const PocketSphinxModel &model, Clock &clock, double sampleRate,
                           std::chrono::milliseconds buffered = std::chrono::seconds(2));
    ~PocketSphinxRecognizer() override;

    void start() override;
    void stop() override;
    void feed(std::span<const float> samples) override;

    // Samples lost because the decoder was behind (or still loading), and samples decoded.
    std::uint64_t droppedSamples() const;
    std::uint64_t decodedSamples() const;

private:
    struct Shared;
    std::shared_ptr<Shared> m;
};
