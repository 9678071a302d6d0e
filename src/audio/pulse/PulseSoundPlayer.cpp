#include "pulse/PulseSoundPlayer.h"

#include "OwnSoundGate.h"

#include <QtEndian>

#include <pulse/pulseaudio.h>

#include <algorithm>
#include <optional>

namespace {

constexpr int kLatencyMs = 40;

struct PcmSound
{
    int rate = 0;
    int channels = 0;
    std::vector<float> samples; // interleaved
};

// The fmt and data chunks of a 16-bit PCM WAV; anything else is refused.
std::optional<PcmSound> readWav(const QByteArray &wav, float volume)
{
    const auto u16 = [&](qsizetype at) { return qFromLittleEndian<quint16>(wav.constData() + at); };
    const auto u32 = [&](qsizetype at) { return qFromLittleEndian<quint32>(wav.constData() + at); };
    if (wav.size() < 12 || !wav.startsWith("RIFF") || wav.mid(8, 4) != "WAVE")
        return std::nullopt;
    PcmSound sound;
    bool pcm16 = false;
    for (qsizetype at = 12; at + 8 <= wav.size();) {
        const QByteArray id = wav.mid(at, 4);
        const qsizetype size = u32(at + 4);
        const qsizetype body = at + 8;
        const qsizetype available = std::min(size, wav.size() - body);
        if (id == "fmt " && available >= 16) {
            pcm16 = u16(body) == 1 && u16(body + 14) == 16;
            sound.channels = u16(body + 2);
            sound.rate = int(u32(body + 4));
        } else if (id == "data") {
            if (!pcm16 || sound.channels < 1 || sound.rate < 1 || sound.rate > int(PA_RATE_MAX) || sound.channels > int(PA_CHANNELS_MAX))
                return std::nullopt;
            const qsizetype frames = available / (2 * sound.channels);
            sound.samples.resize(std::size_t(frames * sound.channels));
            const float gain = std::clamp(volume, 0.0f, 1.0f) / 32768.0f;
            for (std::size_t i = 0; i < sound.samples.size(); ++i)
                sound.samples[i] = float(qFromLittleEndian<qint16>(wav.constData() + body + 2 * qsizetype(i))) * gain;
            return sound;
        }
        at = body + size + (size & 1); // chunks are padded to an even length
    }
    return std::nullopt;
}

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
    return start(samples, rate, 1);
}

bool PulseSoundPlayer::play(const QByteArray &wav, float volume)
{
    std::optional<PcmSound> sound = readWav(wav, volume);
    return sound && start(std::move(sound->samples), sound->rate, sound->channels);
}

bool PulseSoundPlayer::start(std::vector<float> samples, int sampleRate, int channels)
{
    if (samples.empty() || !connect())
        return false;
    const int durationMs = int(qint64(samples.size() / std::size_t(channels)) * 1000 / sampleRate);
    // Marked already here, in case the server is quicker to play than to tell us.
    OwnSoundGate::shared().markPlaying(durationMs + kLatencyMs);

    pa_threaded_mainloop_lock(m_connection.loop());
    const pa_sample_spec spec{PA_SAMPLE_FLOAT32LE, uint32_t(sampleRate), uint8_t(channels)};
    pa_proplist *props = pa_proplist_new();
    pa_proplist_sets(props, PA_PROP_MEDIA_ROLE, "event");
    pa_stream *stream = pa_stream_new_with_proplist(m_connection.context(), "Ondel sound", &spec, nullptr, props);
    pa_proplist_free(props);
    bool ok = stream != nullptr;
    if (ok) {
        auto *playback = new Playback{durationMs, std::move(samples)};
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
