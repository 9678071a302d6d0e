#pragma once

#include <QElapsedTimer>
#include <QString>

#include <functional>

struct pa_context;
struct pa_operation;
struct pa_time_event;
struct pa_threaded_mainloop;

// Which device a capture stream should record now, and when that changes: the server is asked
// again at each change of its defaults and at each device that comes or goes. The stream is
// opened pinned to its device, because a server that moves streams by itself will move a
// microphone's stream onto a monitor once the microphone is gone.
//
// Everything here runs on the connection's loop thread, or with its loop locked.
class PulseDeviceFollower
{
public:
    enum class Source {
        DefaultInput, // the default source, unless it is only a monitor
        DefaultOutputMonitor, // the monitor of the default sink
    };

    struct DeviceFormat
    {
        double rate = 0;
        int channels = 0;
    };

    struct Choice
    {
        enum class Why {
            Found,
            NoDevice, // nothing of the kind is left
            DefaultIsMonitor, // the default input is a monitor, while real inputs exist
        };
        QString device; // the source to record; empty when there is none
        Why why = Why::NoDevice;
        QString defaultName; // the server's default of that kind, for the log
        DeviceFormat format; // the device's own format

        bool sameAs(const Choice &other) const { return device == other.device && why == other.why; }
    };
    using ChoiceHandler = std::function<void(const Choice &)>;

    explicit PulseDeviceFollower(Source source)
        : m_source(source)
    {
    }
    ~PulseDeviceFollower() { stop(); }

    PulseDeviceFollower(const PulseDeviceFollower &) = delete;
    PulseDeviceFollower &operator=(const PulseDeviceFollower &) = delete;

    Source source() const { return m_source; }

    // Asks the server once; `answer` runs on the loop's thread when it has answered.
    void ask(pa_context *context, ChoiceHandler answer);
    // From now on `onChange` runs whenever the choice differs from `current`.
    void follow(pa_threaded_mainloop *loop, pa_context *context, const Choice &current, ChoiceHandler onChange);
    // The stream's device went away under it: choose again, the same device included.
    void deviceLost();
    // Drops every question in flight; no handler runs after it.
    void stop();

private:
    void query();
    void queryDevices(const QString &defaultName);
    void answered(const Choice &choice);
    void report(const Choice &choice);
    void lookAgainIn(int ms);
    void setOperation(pa_operation *operation);

    const Source m_source;
    pa_threaded_mainloop *m_loop = nullptr;
    pa_context *m_context = nullptr;
    ChoiceHandler m_onAnswer; // a single question
    ChoiceHandler m_onChange; // while following
    Choice m_current;

    // The question being asked: one at a time, and asked again if the server changed meanwhile.
    pa_operation *m_operation = nullptr;
    bool m_asking = false;
    bool m_changedMeanwhile = false;
    Choice m_answer;
    int m_realInputs = 0;
    bool m_defaultSeen = false;
    bool m_defaultIsMonitor = false;

    bool m_lost = false; // the stream's device went: whatever comes next is reported
    QElapsedTimer m_lostClock;
    pa_time_event *m_timer = nullptr; // to look again a little later
    bool m_timerArmed = false;
};
