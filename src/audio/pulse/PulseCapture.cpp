#include "PulseCapture.h"

#include <pulse/pulseaudio.h>

#include <algorithm>
#include <ctime>

namespace {

constexpr int kRate = 24000;
constexpr int kFragment = kRate / 10;
// While no device delivers, silence is handed on at the pace of the fragments.
constexpr int kSilenceTickMs = 100;

std::int64_t monotonicNs()
{
    timespec now;
    clock_gettime(CLOCK_MONOTONIC, &now);
    return std::int64_t(now.tv_sec) * 1'000'000'000 + now.tv_nsec;
}

} // namespace

PulseCapture::PulseCapture(Source source, const char *streamName, BlockHandler onBlock, DeviceHandler onDevice)
    : m_source(source)
    , m_streamName(streamName)
    , m_onBlock(std::move(onBlock))
    , m_onDevice(std::move(onDevice))
    , m_follower(source)
    // A new device's first block is a fragment, or a little more.
    , m_gap(kRate, 2 * kFragment)
    , m_silence(kFragment)
{
}

PulseCapture::~PulseCapture()
{
    stop();
}

void PulseCapture::streamStateChanged(pa_stream *stream, void *self)
{
    auto *capture = static_cast<PulseCapture *>(self);
    const pa_stream_state_t state = pa_stream_get_state(stream);
    pa_threaded_mainloop_signal(capture->m_connection.loop(), 0);
    // Pinned to its device, the stream ends when the device goes: follow the default from here.
    // The start waits for its own stream and fails on its own.
    if ((state == PA_STREAM_FAILED || state == PA_STREAM_TERMINATED) && capture->m_following
        && pa_context_get_state(capture->m_connection.context()) == PA_CONTEXT_READY) {
        capture->closeStream();
        capture->m_follower.deviceLost();
    }
}

void PulseCapture::streamReadable(pa_stream *stream, size_t, void *self)
{
    auto *capture = static_cast<PulseCapture *>(self);
    while (pa_stream_readable_size(stream) > 0) {
        const void *data = nullptr;
        size_t bytes = 0;
        if (pa_stream_peek(stream, &data, &bytes) < 0 || bytes == 0)
            return;
        // A hole (no data for a stretch) is dropped; the stream is silent there.
        if (data && capture->m_onBlock) {
            if (const std::size_t silence = capture->m_gap.blockArriving(bytes / sizeof(float), monotonicNs()))
                capture->deliverSilence(silence); // the time it took to change device
            // The fragment belongs to the server's memory block; the handler may change it in place
            // (the system recorder blanks its own sounds), and it is dropped right after.
            auto *samples = static_cast<float *>(const_cast<void *>(data));
            capture->m_onBlock(std::span<float>(samples, bytes / sizeof(float)));
        }
        pa_stream_drop(stream);
    }
}

std::optional<PulseCapture::Choice> PulseCapture::findDevice(std::optional<Failure> &failure)
{
    std::optional<Choice> choice;
    m_follower.ask(m_connection.context(), [&choice](const Choice &answer) { choice = answer; });
    if (!waitFor([&] { return choice.has_value(); })) {
        m_follower.stop();
        failure = Failure{Failure::Kind::NoServer, pa_context_errno(m_connection.context()), QStringLiteral("the sound server did not answer")};
        return std::nullopt;
    }
    // A default source that is only a sink's monitor is no microphone: recording it as "Me"
    // would double everything the computer plays.
    if (choice->device.isEmpty()) {
        failure = Failure{Failure::Kind::NoDevice, 0, QStringLiteral("no usable device \"%1\"").arg(choice->defaultName)};
        return std::nullopt;
    }
    m_format = choice->format;
    return choice;
}

bool PulseCapture::openStream(const QString &device)
{
    const pa_sample_spec spec{PA_SAMPLE_FLOAT32LE, kRate, 1};
    m_stream = pa_stream_new(m_connection.context(), m_streamName, &spec, nullptr);
    if (!m_stream)
        return false;
    m_device = device;
    pa_stream_set_state_callback(m_stream, streamStateChanged, this);
    pa_stream_set_read_callback(m_stream, streamReadable, this);

    // 100 ms fragments, the transcriber's chunk: a capture thread that wakes ten times a second
    // costs next to nothing, and the meter, read by a UI timer, still moves smoothly.
    pa_buffer_attr attr;
    attr.maxlength = uint32_t(-1);
    attr.tlength = uint32_t(-1);
    attr.prebuf = uint32_t(-1);
    attr.minreq = uint32_t(-1);
    attr.fragsize = uint32_t(kFragment * sizeof(float));
    const QByteArray name = device.toUtf8();
    // Pinned: the server must never move this stream to a device of its own choosing, which
    // could be a monitor for the microphone or a microphone for the system stream.
    const auto flags = pa_stream_flags_t(PA_STREAM_ADJUST_LATENCY | PA_STREAM_DONT_MOVE);
    return pa_stream_connect_record(m_stream, name.constData(), &attr, flags) >= 0;
}

void PulseCapture::closeStream()
{
    if (m_stream) {
        pa_stream_set_read_callback(m_stream, nullptr, nullptr);
        pa_stream_set_state_callback(m_stream, nullptr, nullptr);
        if (pa_stream_get_state(m_stream) == PA_STREAM_READY)
            pa_stream_disconnect(m_stream);
        pa_stream_unref(m_stream);
        m_stream = nullptr;
    }
    m_device.clear();
    if (!m_following)
        return;
    // From here until the next device's first block, silence keeps the stream's clock.
    m_gap.open(monotonicNs());
    pa_mainloop_api *api = pa_threaded_mainloop_get_api(m_connection.loop());
    timeval when;
    pa_gettimeofday(&when);
    pa_timeval_add(&when, kSilenceTickMs * PA_USEC_PER_MSEC);
    if (!m_silenceTicker) {
        m_silenceTicker = api->time_new(
            api, &when, [](pa_mainloop_api *, pa_time_event *, const timeval *, void *self) { static_cast<PulseCapture *>(self)->tickSilence(); },
            this);
    } else {
        api->time_restart(m_silenceTicker, &when);
    }
}

void PulseCapture::tickSilence()
{
    pa_mainloop_api *api = pa_threaded_mainloop_get_api(m_connection.loop());
    // A server that died ends the stream's blocks, silence included.
    if (!m_gap.isOpen() || !m_alive) {
        api->time_restart(m_silenceTicker, nullptr);
        return;
    }
    deliverSilence(m_gap.silenceNow(monotonicNs()));
    timeval when;
    pa_gettimeofday(&when);
    pa_timeval_add(&when, kSilenceTickMs * PA_USEC_PER_MSEC);
    api->time_restart(m_silenceTicker, &when);
}

void PulseCapture::deliverSilence(std::size_t samples)
{
    while (samples > 0) {
        const std::size_t count = std::min(samples, m_silence.size());
        // Zeroed each time: the handler may change its block in place.
        std::fill_n(m_silence.begin(), count, 0.0f);
        m_onBlock(std::span<float>(m_silence.data(), count));
        samples -= count;
    }
}

void PulseCapture::deviceChosen(const Choice &choice)
{
    if (choice.device != m_device || !m_stream) {
        closeStream();
        if (!choice.device.isEmpty() && !openStream(choice.device)) {
            closeStream();
            m_follower.deviceLost();
            return;
        }
    }
    if (m_onDevice)
        m_onDevice(choice);
}

std::optional<PulseCapture::Failure> PulseCapture::connectStream(const QString &device)
{
    if (!openStream(device))
        return Failure{Failure::Kind::StreamFailed, pa_context_errno(m_connection.context()), m_connection.errorText()};
    const bool settled = waitFor([&] {
        const pa_stream_state_t s = pa_stream_get_state(m_stream);
        return s == PA_STREAM_READY || s == PA_STREAM_FAILED || s == PA_STREAM_TERMINATED;
    });
    if (!settled || pa_stream_get_state(m_stream) != PA_STREAM_READY)
        return Failure{Failure::Kind::StreamFailed, pa_context_errno(m_connection.context()), m_connection.errorText()};
    return std::nullopt;
}

std::optional<PulseCapture::Failure> PulseCapture::start(int timeoutMs)
{
    if (m_connection.isOpen())
        return std::nullopt;
    m_timeoutMs = timeoutMs;
    const auto onStateChange = [this](bool usable) {
        if (!usable)
            m_alive = false;
    };
    if (const std::optional<QString> why = m_connection.open(timeoutMs, onStateChange))
        return Failure{Failure::Kind::NoServer, m_connection.errorNumber(), *why};

    std::optional<Failure> failure;
    pa_threaded_mainloop_lock(m_connection.loop());
    if (const std::optional<Choice> choice = findDevice(failure)) {
        m_alive = true;
        if (m_onBlock) { // without a handler this is only a look for the device
            failure = connectStream(choice->device);
            if (!failure) {
                m_gap = CaptureGapFiller(kRate, 2 * kFragment);
                m_following = true;
                m_follower.follow(m_connection.loop(), m_connection.context(), *choice, [this](const Choice &next) { deviceChosen(next); });
            }
        }
    }
    pa_threaded_mainloop_unlock(m_connection.loop());
    if (failure)
        stop();
    return failure;
}

void PulseCapture::stop()
{
    m_connection.close([this] {
        m_following = false;
        m_follower.stop();
        if (m_silenceTicker) {
            pa_threaded_mainloop_get_api(m_connection.loop())->time_free(m_silenceTicker);
            m_silenceTicker = nullptr;
        }
        closeStream();
    });
    m_alive = false;
}

bool PulseCapture::hasCaptureDevice(int timeoutMs)
{
    // Without a handler no stream is opened: the device is only looked for.
    PulseCapture probe(Source::DefaultInput, "Ondel probe", nullptr);
    const std::optional<Failure> failure = probe.start(timeoutMs);
    probe.stop();
    return !failure;
}
