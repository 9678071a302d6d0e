#include "PulseCapture.h"

#include <pulse/pulseaudio.h>

#include <QElapsedTimer>

namespace {

constexpr int kRate = 24000;

QString errorText(pa_context *context)
{
    return QString::fromUtf8(pa_strerror(pa_context_errno(context)));
}

struct ServerInfo
{
    QString defaultSink;
    QString defaultSource;
    bool done = false;
};

struct DeviceInfo
{
    bool found = false;
    bool isMonitor = false;
    QString monitorSource;
    PulseCapture::DeviceFormat format;
    bool done = false;
};


void onServerInfo(pa_context *, const pa_server_info *info, void *data)
{
    auto *out = static_cast<ServerInfo *>(data);
    if (info) {
        out->defaultSink = QString::fromUtf8(info->default_sink_name ? info->default_sink_name : "");
        out->defaultSource = QString::fromUtf8(info->default_source_name ? info->default_source_name : "");
    }
    out->done = true;
}

void onSourceInfo(pa_context *, const pa_source_info *info, int eol, void *data)
{
    auto *out = static_cast<DeviceInfo *>(data);
    if (info) {
        out->found = true;
        out->isMonitor = info->monitor_of_sink != PA_INVALID_INDEX;
        out->format = {double(info->sample_spec.rate), int(info->sample_spec.channels)};
    }
    if (eol != 0)
        out->done = true;
}

void onSinkInfo(pa_context *, const pa_sink_info *info, int eol, void *data)
{
    auto *out = static_cast<DeviceInfo *>(data);
    if (info) {
        out->found = true;
        out->monitorSource = QString::fromUtf8(info->monitor_source_name ? info->monitor_source_name : "");
        out->format = {double(info->sample_spec.rate), int(info->sample_spec.channels)};
    }
    if (eol != 0)
        out->done = true;
}

} // namespace

PulseCapture::PulseCapture(Source source, const char *streamName, BlockHandler onBlock)
    : m_source(source)
    , m_streamName(streamName)
    , m_onBlock(std::move(onBlock))
{
}

PulseCapture::~PulseCapture()
{
    stop();
}

void PulseCapture::contextStateChanged(pa_context *context, void *self)
{
    auto *capture = static_cast<PulseCapture *>(self);
    const pa_context_state_t state = pa_context_get_state(context);
    if (state == PA_CONTEXT_FAILED || state == PA_CONTEXT_TERMINATED)
        capture->m_alive = false;
    pa_threaded_mainloop_signal(capture->m_mainloop, 0);
}

void PulseCapture::streamStateChanged(pa_stream *stream, void *self)
{
    auto *capture = static_cast<PulseCapture *>(self);
    const pa_stream_state_t state = pa_stream_get_state(stream);
    if (state == PA_STREAM_FAILED || state == PA_STREAM_TERMINATED)
        capture->m_alive = false;
    pa_threaded_mainloop_signal(capture->m_mainloop, 0);
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
            // The fragment belongs to the server's memory block; the handler may change it in place
            // (the system recorder blanks its own sounds), and it is dropped right after.
            auto *samples = static_cast<float *>(const_cast<void *>(data));
            capture->m_onBlock(std::span<float>(samples, bytes / sizeof(float)));
        }
        pa_stream_drop(stream);
    }
}

bool PulseCapture::waitFor(const std::function<bool()> &done)
{
    // Called with the loop locked. pa_threaded_mainloop_wait has no time-out, so a timer event on
    // the loop wakes it up: a server that stalls cannot hang the caller.
    QElapsedTimer elapsed;
    elapsed.start();
    pa_mainloop_api *api = pa_threaded_mainloop_get_api(m_mainloop);
    while (!done()) {
        if (elapsed.elapsed() >= m_timeoutMs)
            return false;
        timeval tv;
        pa_gettimeofday(&tv);
        pa_timeval_add(&tv, 100 * PA_USEC_PER_MSEC);
        pa_time_event *tick = api->time_new(
            api, &tv, [](pa_mainloop_api *, pa_time_event *, const timeval *, void *loop) {
                pa_threaded_mainloop_signal(static_cast<pa_threaded_mainloop *>(loop), 0);
            },
            m_mainloop);
        pa_threaded_mainloop_wait(m_mainloop);
        api->time_free(tick);
    }
    return true;
}

std::optional<QString> PulseCapture::findDevice(std::optional<Failure> &failure)
{
    ServerInfo server;
    pa_operation *op = pa_context_get_server_info(m_context, onServerInfo, &server);
    const bool answered = op && waitFor([&] { return server.done; });
    if (op)
        pa_operation_unref(op);
    if (!answered) {
        failure = Failure{Failure::Kind::NoServer, pa_context_errno(m_context), QStringLiteral("the sound server did not answer")};
        return std::nullopt;
    }

    DeviceInfo device;
    const QString name = m_source == Source::DefaultInput ? server.defaultSource : server.defaultSink;
    if (name.isEmpty()) {
        failure = Failure{Failure::Kind::NoDevice, 0, QStringLiteral("no default device")};
        return std::nullopt;
    }
    const QByteArray utf8 = name.toUtf8();
    op = m_source == Source::DefaultInput ? pa_context_get_source_info_by_name(m_context, utf8.constData(), onSourceInfo, &device)
                                          : pa_context_get_sink_info_by_name(m_context, utf8.constData(), onSinkInfo, &device);
    const bool listed = op && waitFor([&] { return device.done; });
    if (op)
        pa_operation_unref(op);
    // A default source that is only a sink's monitor is no microphone: recording it as "Me"
    // would double everything the computer plays.
    if (!listed || !device.found || (m_source == Source::DefaultInput && device.isMonitor)
        || (m_source == Source::DefaultOutputMonitor && device.monitorSource.isEmpty())) {
        failure = Failure{Failure::Kind::NoDevice, 0, QStringLiteral("no usable device \"%1\"").arg(name)};
        return std::nullopt;
    }
    m_format = device.format;
    return m_source == Source::DefaultInput ? name : device.monitorSource;
}

std::optional<PulseCapture::Failure> PulseCapture::connectStream(const QString &device)
{
    const pa_sample_spec spec{PA_SAMPLE_FLOAT32LE, kRate, 1};
    m_stream = pa_stream_new(m_context, m_streamName, &spec, nullptr);
    if (!m_stream)
        return Failure{Failure::Kind::StreamFailed, pa_context_errno(m_context), errorText(m_context)};
    pa_stream_set_state_callback(m_stream, streamStateChanged, this);
    pa_stream_set_read_callback(m_stream, streamReadable, this);

    // 100 ms fragments, the transcriber's chunk: a capture thread that wakes ten times a second
    // costs next to nothing, and the meter, read by a UI timer, still moves smoothly.
    pa_buffer_attr attr;
    attr.maxlength = uint32_t(-1);
    attr.tlength = uint32_t(-1);
    attr.prebuf = uint32_t(-1);
    attr.minreq = uint32_t(-1);
    attr.fragsize = uint32_t(kRate / 10 * sizeof(float));
    const QByteArray name = device.toUtf8();
    if (pa_stream_connect_record(m_stream, name.constData(), &attr, PA_STREAM_ADJUST_LATENCY) < 0)
        return Failure{Failure::Kind::StreamFailed, pa_context_errno(m_context), errorText(m_context)};
    const bool settled = waitFor([&] {
        const pa_stream_state_t s = pa_stream_get_state(m_stream);
        return s == PA_STREAM_READY || s == PA_STREAM_FAILED || s == PA_STREAM_TERMINATED;
    });
    if (!settled || pa_stream_get_state(m_stream) != PA_STREAM_READY)
        return Failure{Failure::Kind::StreamFailed, pa_context_errno(m_context), errorText(m_context)};
    return std::nullopt;
}

std::optional<PulseCapture::Failure> PulseCapture::start(int timeoutMs)
{
    if (m_mainloop)
        return std::nullopt;
    m_timeoutMs = timeoutMs;
    m_mainloop = pa_threaded_mainloop_new();
    if (!m_mainloop)
        return Failure{Failure::Kind::NoServer, 0, QStringLiteral("no PulseAudio main loop")};

    pa_proplist *props = pa_proplist_new();
    pa_proplist_sets(props, PA_PROP_APPLICATION_NAME, "Ondel");
    pa_proplist_sets(props, PA_PROP_APPLICATION_ID, "com.tarnwyk.ondel");
    pa_proplist_sets(props, PA_PROP_APPLICATION_ICON_NAME, "com.tarnwyk.ondel");
    m_context = pa_context_new_with_proplist(pa_threaded_mainloop_get_api(m_mainloop), "Ondel", props);
    pa_proplist_free(props);
    if (!m_context) {
        teardown();
        return Failure{Failure::Kind::NoServer, 0, QStringLiteral("no PulseAudio context")};
    }
    pa_context_set_state_callback(m_context, contextStateChanged, this);

    std::optional<Failure> failure;
    pa_threaded_mainloop_lock(m_mainloop);
    // No autospawn: a missing server is reported, not started behind the user's back.
    if (pa_context_connect(m_context, nullptr, PA_CONTEXT_NOAUTOSPAWN, nullptr) < 0 || pa_threaded_mainloop_start(m_mainloop) < 0) {
        failure = Failure{Failure::Kind::NoServer, pa_context_errno(m_context), errorText(m_context)};
    } else {
        const bool settled = waitFor([&] {
            const pa_context_state_t s = pa_context_get_state(m_context);
            return s == PA_CONTEXT_READY || !PA_CONTEXT_IS_GOOD(s);
        });
        if (!settled || pa_context_get_state(m_context) != PA_CONTEXT_READY) {
            failure = Failure{Failure::Kind::NoServer, pa_context_errno(m_context), errorText(m_context)};
        } else if (const std::optional<QString> device = findDevice(failure)) {
            m_alive = true;
            if (m_onBlock) // without a handler this is only a look for the device
                failure = connectStream(*device);
        }
    }
    pa_threaded_mainloop_unlock(m_mainloop);

    if (failure) {
        teardown();
        m_alive = false;
    }
    return failure;
}

void PulseCapture::stop()
{
    teardown();
    m_alive = false;
}

void PulseCapture::teardown()
{
    if (!m_mainloop)
        return;
    pa_threaded_mainloop_lock(m_mainloop);
    if (m_stream) {
        pa_stream_set_read_callback(m_stream, nullptr, nullptr);
        pa_stream_set_state_callback(m_stream, nullptr, nullptr);
        if (pa_stream_get_state(m_stream) == PA_STREAM_READY)
            pa_stream_disconnect(m_stream);
        pa_stream_unref(m_stream);
        m_stream = nullptr;
    }
    if (m_context) {
        pa_context_set_state_callback(m_context, nullptr, nullptr);
        pa_context_disconnect(m_context);
        pa_context_unref(m_context);
        m_context = nullptr;
    }
    pa_threaded_mainloop_unlock(m_mainloop);
    pa_threaded_mainloop_stop(m_mainloop);
    pa_threaded_mainloop_free(m_mainloop);
    m_mainloop = nullptr;
}

bool PulseCapture::hasCaptureDevice(int timeoutMs)
{
    // Without a handler no stream is opened: the device is only looked for.
    PulseCapture probe(Source::DefaultInput, "Ondel probe", nullptr);
    const std::optional<Failure> failure = probe.start(timeoutMs);
    probe.stop();
    return !failure;
}
