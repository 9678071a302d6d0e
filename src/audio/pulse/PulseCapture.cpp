#include "PulseCapture.h"

#include <pulse/pulseaudio.h>


namespace {

constexpr int kRate = 24000;

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

void PulseCapture::streamStateChanged(pa_stream *stream, void *self)
{
    auto *capture = static_cast<PulseCapture *>(self);
    const pa_stream_state_t state = pa_stream_get_state(stream);
    if (state == PA_STREAM_FAILED || state == PA_STREAM_TERMINATED)
        capture->m_alive = false;
    pa_threaded_mainloop_signal(capture->m_connection.loop(), 0);
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

std::optional<QString> PulseCapture::findDevice(std::optional<Failure> &failure)
{
    ServerInfo server;
    pa_operation *op = pa_context_get_server_info(m_connection.context(), onServerInfo, &server);
    const bool answered = op && waitFor([&] { return server.done; });
    if (op)
        pa_operation_unref(op);
    if (!answered) {
        failure = Failure{Failure::Kind::NoServer, pa_context_errno(m_connection.context()), QStringLiteral("the sound server did not answer")};
        return std::nullopt;
    }

    DeviceInfo device;
    const QString name = m_source == Source::DefaultInput ? server.defaultSource : server.defaultSink;
    if (name.isEmpty()) {
        failure = Failure{Failure::Kind::NoDevice, 0, QStringLiteral("no default device")};
        return std::nullopt;
    }
    const QByteArray utf8 = name.toUtf8();
    op = m_source == Source::DefaultInput ? pa_context_get_source_info_by_name(m_connection.context(), utf8.constData(), onSourceInfo, &device)
                                          : pa_context_get_sink_info_by_name(m_connection.context(), utf8.constData(), onSinkInfo, &device);
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
    m_stream = pa_stream_new(m_connection.context(), m_streamName, &spec, nullptr);
    if (!m_stream)
        return Failure{Failure::Kind::StreamFailed, pa_context_errno(m_connection.context()), m_connection.errorText()};
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
    if (const std::optional<QString> device = findDevice(failure)) {
        m_alive = true;
        if (m_onBlock) // without a handler this is only a look for the device
            failure = connectStream(*device);
    }
    pa_threaded_mainloop_unlock(m_connection.loop());
    if (failure)
        stop();
    return failure;
}

void PulseCapture::stop()
{
    m_connection.close([this] {
        if (!m_stream)
            return;
        pa_stream_set_read_callback(m_stream, nullptr, nullptr);
        pa_stream_set_state_callback(m_stream, nullptr, nullptr);
        if (pa_stream_get_state(m_stream) == PA_STREAM_READY)
            pa_stream_disconnect(m_stream);
        pa_stream_unref(m_stream);
        m_stream = nullptr;
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
