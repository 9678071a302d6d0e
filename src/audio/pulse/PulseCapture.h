#pragma once

#include <QString>

#include <atomic>
#include <functional>
#include <optional>
#include <span>
#include <vector>

#include "CaptureGapFiller.h"
#include "pulse/PulseConnection.h"
#include "pulse/PulseDeviceFollower.h"

struct pa_stream;
struct pa_time_event;

// One record stream from a PulseAudio server (PipeWire serves the same API through
// pipewire-pulse), as 24000 Hz mono float. The server does the resampling and the down-mix.
// Blocks arrive on the stream's own mainloop thread, which is the capture thread. The stream
// follows the server's default of its kind (PulseDeviceFollower); while it changes device or
// has none, silence keeps its clock (CaptureGapFiller). A server that goes away mid-stream only
// ends the blocks: stop() still works and never waits on the server.
class PulseCapture
{
public:
    using Source = PulseDeviceFollower::Source;
    using Choice = PulseDeviceFollower::Choice;
    using DeviceFormat = PulseDeviceFollower::DeviceFormat;

    struct Failure
    {
        enum class Kind { NoServer, NoDevice, StreamFailed } kind;
        int status = 0; // PulseAudio's error number
        QString detail;
    };

    using BlockHandler = std::function<void(std::span<float> samples)>;
    using DeviceHandler = std::function<void(const Choice &choice)>;

    // `streamName` is how the stream shows in the system's mixer. `onDevice` runs on the capture
    // thread each time the stream changes device after a good start, or is left without one.
    PulseCapture(Source source, const char *streamName, BlockHandler onBlock, DeviceHandler onDevice = {});
    ~PulseCapture();

    PulseCapture(const PulseCapture &) = delete;
    PulseCapture &operator=(const PulseCapture &) = delete;

    // Connects and starts capture; waits at most `timeoutMs` for the server at each step.
    std::optional<Failure> start(int timeoutMs = 5000);
    void stop();
    bool isRunning() const { return m_connection.isOpen(); }
    // The device's own format, known after a good start.
    DeviceFormat deviceFormat() const { return m_format; }
    // False once the server failed after a good start.
    bool isAlive() const { return m_alive.load(); }

    // Whether a PulseAudio server answers and has an input that is not a monitor.
    static bool hasCaptureDevice(int timeoutMs = 2000);

private:
    static void streamStateChanged(pa_stream *stream, void *self);
    static void streamReadable(pa_stream *stream, size_t bytes, void *self);
    std::optional<Failure> connectStream(const QString &device);
    std::optional<Choice> findDevice(std::optional<Failure> &failure);
    bool waitFor(const std::function<bool()> &done) const { return m_connection.waitFor(done, m_timeoutMs); }

    // Device following, on the capture thread.
    bool openStream(const QString &device);
    void closeStream();
    void deviceChosen(const Choice &choice);
    void tickSilence();
    void deliverSilence(std::size_t samples);

    Source m_source;
    const char *m_streamName;
    BlockHandler m_onBlock;
    DeviceHandler m_onDevice;
    int m_timeoutMs = 5000;

    PulseConnection m_connection;
    pa_stream *m_stream = nullptr;
    QString m_device; // what m_stream records
    DeviceFormat m_format;
    std::atomic<bool> m_alive{false};
    PulseDeviceFollower m_follower;
    bool m_following = false; // after a good start, on the capture thread
    CaptureGapFiller m_gap;
    pa_time_event *m_silenceTicker = nullptr;
    std::vector<float> m_silence;
};
