#include "pulse/PulseDeviceFollower.h"

#include <pulse/pulseaudio.h>

#include <algorithm>
#include <utility>

namespace {

// After its device went, a stream waits this long for the server to name a new default before
// it reports that none is left: PipeWire's session manager picks the new default a moment
// after the old device is gone.
constexpr int kSettleMs = 250;
// A lost device is looked for again after this pause, so that a device that fails every stream
// at once costs a few questions a second rather than a busy loop.
constexpr int kRetryMs = 50;

PulseDeviceFollower *follower(void *self)
{
    return static_cast<PulseDeviceFollower *>(self);
}

} // namespace

void PulseDeviceFollower::ask(pa_context *context, ChoiceHandler answer)
{
    m_context = context;
    m_onAnswer = std::move(answer);
    query();
}

void PulseDeviceFollower::follow(pa_threaded_mainloop *loop, pa_context *context, const Choice &current, ChoiceHandler onChange)
{
    m_loop = loop;
    m_context = context;
    m_current = current;
    m_onChange = std::move(onChange);
    // Devices of the other kind matter too: a sink's monitor is a source.
    pa_context_set_subscribe_callback(
        context,
        [](pa_context *, pa_subscription_event_type_t event, uint32_t, void *self) {
            const int facility = event & PA_SUBSCRIPTION_EVENT_FACILITY_MASK;
            const int type = event & PA_SUBSCRIPTION_EVENT_TYPE_MASK;
            // A device's own changes (volume, suspended or running) change nothing here.
            if (facility == PA_SUBSCRIPTION_EVENT_SERVER || type != PA_SUBSCRIPTION_EVENT_CHANGE)
                follower(self)->query();
        },
        this);
    const auto mask = pa_subscription_mask_t(PA_SUBSCRIPTION_MASK_SERVER | PA_SUBSCRIPTION_MASK_SINK | PA_SUBSCRIPTION_MASK_SOURCE);
    if (pa_operation *subscribed = pa_context_subscribe(context, mask, nullptr, nullptr))
        pa_operation_unref(subscribed);
    // What changed between the first question and now.
    query();
}

void PulseDeviceFollower::deviceLost()
{
    if (!m_onChange)
        return;
    if (!m_lost)
        m_lostClock.start();
    m_lost = true;
    lookAgainIn(kRetryMs);
}

void PulseDeviceFollower::stop()
{
    if (!m_context)
        return;
    setOperation(nullptr);
    if (m_timer) {
        pa_threaded_mainloop_get_api(m_loop)->time_free(m_timer);
        m_timer = nullptr;
        m_timerArmed = false;
    }
    if (m_onChange)
        pa_context_set_subscribe_callback(m_context, nullptr, nullptr);
    m_context = nullptr;
    m_loop = nullptr;
    m_onAnswer = nullptr;
    m_onChange = nullptr;
    m_asking = false;
    m_lost = false;
}

void PulseDeviceFollower::setOperation(pa_operation *operation)
{
    if (m_operation) {
        // Harmless on one that has finished; one still waiting never calls back.
        pa_operation_cancel(m_operation);
        pa_operation_unref(m_operation);
    }
    m_operation = operation;
}

void PulseDeviceFollower::query()
{
    if (!m_context)
        return;
    if (m_asking) {
        m_changedMeanwhile = true;
        return;
    }
    m_asking = true;
    m_changedMeanwhile = false;
    setOperation(pa_context_get_server_info(
        m_context,
        [](pa_context *, const pa_server_info *info, void *self) {
            PulseDeviceFollower *const f = follower(self);
            const char *name = !info ? nullptr : f->m_source == Source::DefaultInput ? info->default_source_name : info->default_sink_name;
            f->queryDevices(QString::fromUtf8(name ? name : ""));
        },
        this));
    if (!m_operation)
        m_asking = false; // the connection is going; nothing will answer
}

void PulseDeviceFollower::queryDevices(const QString &defaultName)
{
    m_answer = Choice{};
    m_answer.defaultName = defaultName;
    m_realInputs = 0;
    m_defaultSeen = false;
    m_defaultIsMonitor = false;
    const QByteArray name = defaultName.toUtf8();

    if (m_source == Source::DefaultInput) {
        // Every source, to tell "the default is a monitor" from "no input is left at all".
        setOperation(pa_context_get_source_info_list(
            m_context,
            [](pa_context *, const pa_source_info *info, int eol, void *self) {
                PulseDeviceFollower *const f = follower(self);
                if (info) {
                    const bool monitor = info->monitor_of_sink != PA_INVALID_INDEX;
                    f->m_realInputs += monitor ? 0 : 1;
                    if (QString::fromUtf8(info->name) == f->m_answer.defaultName) {
                        f->m_defaultSeen = true;
                        f->m_defaultIsMonitor = monitor;
                        f->m_answer.format = {double(info->sample_spec.rate), int(info->sample_spec.channels)};
                    }
                }
                if (eol == 0)
                    return;
                Choice choice = f->m_answer;
                if (f->m_defaultSeen && !f->m_defaultIsMonitor) {
                    choice.device = choice.defaultName;
                    choice.why = Choice::Why::Found;
                } else {
                    // A monitor as the default input is the user's choice while a real input
                    // exists; without one, it is only the server's last resort.
                    choice.why = f->m_defaultSeen && f->m_realInputs > 0 ? Choice::Why::DefaultIsMonitor : Choice::Why::NoDevice;
                }
                f->answered(choice);
            },
            this));
    } else {
        if (name.isEmpty()) {
            answered(m_answer);
            return;
        }
        setOperation(pa_context_get_sink_info_by_name(
            m_context, name.constData(),
            [](pa_context *, const pa_sink_info *info, int eol, void *self) {
                PulseDeviceFollower *const f = follower(self);
                if (info && info->monitor_source_name) {
                    f->m_answer.device = QString::fromUtf8(info->monitor_source_name);
                    f->m_answer.why = Choice::Why::Found;
                    f->m_answer.format = {double(info->sample_spec.rate), int(info->sample_spec.channels)};
                }
                if (eol != 0)
                    f->answered(f->m_answer);
            },
            this));
    }
    if (!m_operation)
        m_asking = false;
}

void PulseDeviceFollower::answered(const Choice &choice)
{
    m_asking = false;
    if (m_changedMeanwhile) {
        query(); // the answer may be stale already: only the latest counts
        return;
    }
    if (m_onAnswer) {
        const ChoiceHandler answer = std::exchange(m_onAnswer, nullptr);
        answer(choice);
        return;
    }
    if (!m_onChange)
        return;
    // While its device is still there, a stream keeps it when the server names no default.
    if (choice.why == Choice::Why::NoDevice && !m_lost && !m_current.device.isEmpty())
        return;
    if (choice.sameAs(m_current) && !m_lost)
        return;
    if (choice.why == Choice::Why::NoDevice && m_lost && m_lostClock.elapsed() < kSettleMs) {
        lookAgainIn(int(kSettleMs - m_lostClock.elapsed()));
        return;
    }
    report(choice);
}

void PulseDeviceFollower::report(const Choice &choice)
{
    m_lost = false;
    m_current = choice;
    m_onChange(choice);
}

void PulseDeviceFollower::lookAgainIn(int ms)
{
    if (!m_loop)
        return;
    pa_mainloop_api *api = pa_threaded_mainloop_get_api(m_loop);
    timeval when;
    pa_gettimeofday(&when);
    pa_timeval_add(&when, pa_usec_t(std::max(ms, 1)) * PA_USEC_PER_MSEC);
    if (!m_timer) {
        m_timer = api->time_new(
            api, &when,
            [](pa_mainloop_api *api, pa_time_event *timer, const timeval *, void *self) {
                api->time_restart(timer, nullptr); // once
                follower(self)->m_timerArmed = false;
                follower(self)->query();
            },
            this);
        m_timerArmed = true;
    } else if (!m_timerArmed) { // an earlier look stays as it is
        api->time_restart(m_timer, &when);
        m_timerArmed = true;
    }
}
