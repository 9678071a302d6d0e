#pragma once

#include <QString>

#include <atomic>
#include <functional>
#include <optional>
#include <span>

#include "pulse/PulseConnection.h"

struct pa_stream;

// One record stream from a PulseAudio server (PipeWire serves the same API through
// pipewire-pulse), as 24000 Hz mono float. The server does the resampling and the down-mix.
// Blocks arrive on the stream's own mainloop thread, which is the capture thread. A server
// or device that goes away mid-stream only ends the blocks: stop() still works and never waits
// on the server.
class PulseCapture
{
public:
    enum class Source {
        DefaultInput, // the default source, unless it is only a monitor
        DefaultOutputMonitor, // the monitor of the default sink
    };

    struct Failure
    {
        enum class Kind { NoServer, NoDevice, StreamFailed } kind;
        int status = 0; // PulseAudio's error number
        QString detail;
    };

    struct DeviceFormat
    {
        double rate = 0;
        int channels = 0;
    };

    using BlockHandler = std::function<void(std::span<float> samples)>;

    // `streamName` is how the stream shows in the system's mixer.
    PulseCapture(Source source, const char *streamName, BlockHandler onBlock);
    ~PulseCapture();

    PulseCapture(const PulseCapture &) = delete;
    PulseCapture &operator=(const PulseCapture &) = delete;

    // Connects and starts capture; waits at most `timeoutMs` for the server at each step.
    std::optional<Failure> start(int timeoutMs = 5000);
    void stop();
    bool isRunning() const { return m_connection.isOpen(); }
    // The device's own format, known after a good start.
    DeviceFormat deviceFormat() const { return m_format; }
    // False once the server or the stream failed after a good start.
    bool isAlive() const { return m_alive.load(); }

    // Whether a PulseAudio server answers and has an input that is not a monitor.
    static bool hasCaptureDevice(int timeoutMs = 2000);

private:
    static void streamStateChanged(pa_stream *stream, void *self);
    static void streamReadable(pa_stream *stream, size_t bytes, void *self);
    std::optional<Failure> connectStream(const QString &device);
    std::optional<QString> findDevice(std::optional<Failure> &failure);
    bool waitFor(const std::function<bool()> &done) const { return m_connection.waitFor(done, m_timeoutMs); }

    Source m_source;
    const char *m_streamName;
    BlockHandler m_onBlock;
    int m_timeoutMs = 5000;

    PulseConnection m_connection;
    pa_stream *m_stream = nullptr;
    DeviceFormat m_format;
    std::atomic<bool> m_alive{false};
};
