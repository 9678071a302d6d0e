#include "pulse/PulseSoundPlayer.h"

#include "OwnSoundGate.h"

#include <pulse/pulseaudio.h>


namespace {

constexpr int kLatencyMs = 40;

struct Playback
{
    int durationMs = 0;
    std::vector<float> samples;
};

void finish(pa_stream *stream, Playback *playback)
{
    pa_stream_set_started_callback(stream, nullptr, nullptr);
    pa_stream_set_state_callback(stream, nullptr, nullptr);
    pa_stream_disconnect(stream);
    pa_stream_unref(stream);
    delete playback;
}

// The moment the server starts playing is when the sound becomes audible: mark it from there,
// for its length and the time it spends in the output's buffer.
void playbackStarted(pa_stream *stream, void *data)
{
    const auto *playback = static_cast<const Playback *>(data);
    pa_usec_t latency = 0;
    int negative = 0;
    const int latencyMs = pa_stream_get_latency(stream, &latency, &negative) == 0 && !negative ? int(latency / 1000) : kLatencyMs;
    OwnSoundGate::shared().markPlaying(playback->durationMs + latencyMs);
}

void playbackDrained(pa_stream *stream, int, void *data)
{
    finish(stream, static_cast<Playback *>(data));
}

// The sound can be written once the stream is ready; the server keeps what exceeds the buffer.
void playbackStateChanged(pa_stream *stream, void *data)
{
    auto *playback = static_cast<Playback *>(data);
    switch (pa_stream_get_state(stream)) {
    case PA_STREAM_READY:
        pa_stream_write(stream, playback->samples.data(), playback->samples.size() * sizeof(float), nullptr, 0, PA_SEEK_RELATIVE);
        if (pa_operation *drain = pa_stream_drain(stream, playbackDrained, playback))
            pa_operation_unref(drain);
        else
            finish(stream, playback);
        break;
    case PA_STREAM_FAILED:
    case PA_STREAM_TERMINATED:
        finish(stream, playback);
        break;
    default:
        break;
    }
}

} // namespace

PulseSoundPlayer::PulseSoundPlayer() = default;

PulseSoundPlayer::~PulseSoundPlayer() = default;

bool PulseSoundPlayer::connect()
{
    if (m_connection.isReady())
        return true;
    m_connection.close(); // a server that went away: try afresh
    return !m_connection.open(2000);
}

bool PulseSoundPlayer::play(const std::vector<float> &samples)
{
    if (samples.empty() || !connect())
        return false;
    const int durationMs = int(samples.size() * 1000 / rate);
    // Marked already here, in case the server is quicker to play than to tell us.
    OwnSoundGate::shared().markPlaying(durationMs + kLatencyMs);

    pa_threaded_mainloop_lock(m_connection.loop());
    const pa_sample_spec spec{PA_SAMPLE_FLOAT32LE, rate, 1};
    pa_proplist *props = pa_proplist_new();
    pa_proplist_sets(props, PA_PROP_MEDIA_ROLE, "event");
    pa_stream *stream = pa_stream_new_with_proplist(m_connection.context(), "Ondel sound", &spec, nullptr, props);
    pa_proplist_free(props);
    bool ok = stream != nullptr;
    if (ok) {
        auto *playback = new Playback{durationMs, samples};
        pa_stream_set_started_callback(stream, playbackStarted, playback);
        pa_stream_set_state_callback(stream, playbackStateChanged, playback);
        pa_buffer_attr attr;
        attr.maxlength = uint32_t(-1);
        attr.tlength = uint32_t(pa_usec_to_bytes(kLatencyMs * PA_USEC_PER_MSEC, &spec));
        attr.prebuf = uint32_t(-1);
        attr.minreq = uint32_t(-1);
        attr.fragsize = uint32_t(-1);
        ok = pa_stream_connect_playback(stream, nullptr, &attr, PA_STREAM_ADJUST_LATENCY, nullptr, nullptr) >= 0;
        if (!ok) {
            pa_stream_set_state_callback(stream, nullptr, nullptr);
            pa_stream_unref(stream);
            delete playback;
        }
    }
    pa_threaded_mainloop_unlock(m_connection.loop());
    return ok;
}
