#include "PocketSphinxRecognizer.h"

#include "Clock.h"
#include "Log.h"
#include "MainThread.h"
#include "SampleRing.h"


#include <samplerate.h>

#include <atomic>
#include <cmath>
#include <thread>
#include <vector>

struct PocketSphinxRecognizer::Shared : std::enable_shared_from_this<Shared>
{
    Shared(const PocketSphinxModel &model, Clock &clock, double sampleRate, std::size_t capacity)
        : model(model), clock(clock), sampleRate(sampleRate), ring(capacity)
    {
    }

    const PocketSphinxModel model;
    Clock &clock;
    const double sampleRate;
    SampleRing ring;
    std::atomic<bool> running = false;
    std::atomic<bool> ended = false;
    std::atomic<qint64> phraseStarted = 0; // ms since the epoch, on the injected clock
    std::atomic<std::uint32_t> rollOvers = 0; // asked for by the capture thread
    std::atomic<std::uint64_t> decoded = 0;
    LiveDraftRecognizer *owner = nullptr; // main thread only; null once destroyed

    void decode();
    void post(const QString &text);
};

// The guess crosses to the main thread, where it is dropped if the recogniser was stopped or
// destroyed meanwhile, so that no old text comes back after a stop.
void PocketSphinxRecognizer::Shared::post(const QString &text)
{
    if (!running.load())
        return;
    postToMainThread([weak = weak_from_this(), text] {
        const auto s = weak.lock();
        if (s && s->running.load() && s->owner && s->owner->onDraft)
            s->owner->onDraft(text);
    });
}

// The recogniser's own thread.
void PocketSphinxRecognizer::Shared::decode()
{
    std::unique_ptr<PocketSphinxDecoder> decoder = PocketSphinxDecoder::load(model);
    if (!decoder) {
        qCInfo(lcOndel, "Live draft unavailable: the speech model could not be loaded");
        running = false;
        return;
    }
    int error = 0;
    SRC_STATE *resampler = src_new(SRC_SINC_FASTEST, 1, &error);
    if (!resampler) {
        qCInfo(lcOndel, "Live draft unavailable: %s", src_strerror(error));
        running = false;
        return;
    }
    const double ratio = double(PocketSphinxDecoder::sampleRate) / sampleRate;
    // 0.1 s of input at a time: the guess moves on about ten times a second.
    std::vector<float> input(std::size_t(std::lround(sampleRate / 10)));
    std::vector<float> resampled(std::size_t(std::ceil(double(input.size()) * ratio)) + 16);
    std::vector<std::int16_t> pcm(resampled.size());
    std::uint32_t rollOversSeen = 0;
    QString shown;

    while (!ended.load()) {
        const std::uint32_t signal = ring.signal();
        if (const std::uint32_t asked = rollOvers.load(); asked != rollOversSeen) {
            rollOversSeen = asked;
            decoder->restart();
            src_reset(resampler);
            shown.clear();
            post(QString());
        }
        const std::size_t count = ring.pop(input);
        if (count == 0) {
            ring.waitPast(signal);
            continue;
        }
        SRC_DATA data{};
        data.data_in = input.data();
        data.input_frames = long(count);
        data.data_out = resampled.data();
        data.output_frames = long(resampled.size());
        data.src_ratio = ratio;
        if (src_process(resampler, &data) != 0) {
            decoded.fetch_add(count);
            continue;
        }
        src_float_to_short_array(resampled.data(), pcm.data(), int(data.output_frames_gen));
        const PocketSphinxDecoder::Progress progress = decoder->process(std::span(pcm.data(), std::size_t(data.output_frames_gen)));
        decoded.fetch_add(count);
        if (!progress.hypothesis.isEmpty() && progress.hypothesis != shown) {
            shown = progress.hypothesis;
            post(shown);
        }
        // A finished utterance's guess stays up until its real line or the next speech
        // replaces it.
        if (progress.utteranceEnded)
            shown.clear();
    }
    src_delete(resampler);
    if (const std::uint64_t dropped = ring.droppedSamples())
        qCInfo(lcOndel, "Live draft fell behind: skipped %.1f s of audio", double(dropped) / sampleRate);
}

PocketSphinxRecognizer::PocketSphinxRecognizer(const PocketSphinxModel &model, Clock &clock, double sampleRate,
                                               std::chrono::milliseconds buffered)
    : m(std::make_shared<Shared>(model, clock, sampleRate, std::size_t(sampleRate * double(buffered.count()) / 1000.0)))
{
    m->owner = this;
}

PocketSphinxRecognizer::~PocketSphinxRecognizer()
{
    m->owner = nullptr;
    m->running = false;
    m->ended = true;
    m->ring.wake();
}

void PocketSphinxRecognizer::start()
{
    // One run per object: the session makes new recognisers for each recording.
    if (m->running.load() || m->ended.load() || !m->model.isInstalled())
        return;
    m->phraseStarted = m->clock.now().toMSecsSinceEpoch();
    m->running = true;
    // Loading the model takes a second or so; the main thread never waits for this thread,
    // not even at stop: the thread ends by itself and frees the decoder.
    std::thread([shared = m] { shared->decode(); }).detach();
}

void PocketSphinxRecognizer::stop()
{
    m->running = false;
    m->ended = true;
    m->ring.wake();
    if (onDraft)
        onDraft(QString());
}

void PocketSphinxRecognizer::feed(std::span<const float> samples)
{
    if (samples.empty() || !m->running.load())
        return;
    const qint64 now = m->clock.now().toMSecsSinceEpoch();
    if (double(now - m->phraseStarted.load()) / 1000.0 > phraseLimit) {
        // A new phrase; this block is dropped, and the rough text clears.
        m->phraseStarted = now;
        m->rollOvers.fetch_add(1);
        m->ring.wake();
        return;
    }
    m->ring.push(samples);
}

std::uint64_t PocketSphinxRecognizer::droppedSamples() const
{
    return m->ring.droppedSamples();
}

std::uint64_t PocketSphinxRecognizer::decodedSamples() const
{
    return m->decoded.load();
}
