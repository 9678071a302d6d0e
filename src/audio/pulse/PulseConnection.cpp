#include "pulse/PulseConnection.h"

#include <pulse/pulseaudio.h>

#include <QElapsedTimer>

void PulseConnection::contextStateChanged(pa_context *context, void *self)
{
    auto *connection = static_cast<PulseConnection *>(self);
    if (connection->m_onStateChange)
        connection->m_onStateChange(PA_CONTEXT_IS_GOOD(pa_context_get_state(context)));
    pa_threaded_mainloop_signal(connection->m_mainloop, 0);
}

std::optional<QString> PulseConnection::open(int timeoutMs, std::function<void(bool)> onStateChange)
{
    if (m_mainloop)
        return std::nullopt;
    m_onStateChange = std::move(onStateChange);
    m_mainloop = pa_threaded_mainloop_new();
    if (!m_mainloop)
        return QStringLiteral("no PulseAudio main loop");

    pa_proplist *props = pa_proplist_new();
    pa_proplist_sets(props, PA_PROP_APPLICATION_NAME, "Ondel");
    pa_proplist_sets(props, PA_PROP_APPLICATION_ID, "com.tarnwyk.ondel");
    pa_proplist_sets(props, PA_PROP_APPLICATION_ICON_NAME, "com.tarnwyk.ondel");
    m_context = pa_context_new_with_proplist(pa_threaded_mainloop_get_api(m_mainloop), "Ondel", props);
    pa_proplist_free(props);
    if (!m_context) {
        close();
        return QStringLiteral("no PulseAudio context");
    }
    pa_context_set_state_callback(m_context, contextStateChanged, this);

    std::optional<QString> failure;
    pa_threaded_mainloop_lock(m_mainloop);
    // No autospawn: a missing server is reported, not started behind the user's back.
    if (pa_context_connect(m_context, nullptr, PA_CONTEXT_NOAUTOSPAWN, nullptr) < 0 || pa_threaded_mainloop_start(m_mainloop) < 0) {
        failure = errorText();
    } else {
        const bool settled = waitFor([this] {
            const pa_context_state_t s = pa_context_get_state(m_context);
            return s == PA_CONTEXT_READY || !PA_CONTEXT_IS_GOOD(s);
        }, timeoutMs);
        if (!settled || pa_context_get_state(m_context) != PA_CONTEXT_READY)
            failure = settled ? errorText() : QStringLiteral("the sound server did not answer");
    }
    pa_threaded_mainloop_unlock(m_mainloop);
    if (failure)
        close();
    return failure;
}

void PulseConnection::close(const std::function<void()> &beforeDisconnect)
{
    if (!m_mainloop)
        return;
    pa_threaded_mainloop_lock(m_mainloop);
    if (beforeDisconnect)
        beforeDisconnect();
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

bool PulseConnection::isReady() const
{
    return m_context && pa_context_get_state(m_context) == PA_CONTEXT_READY;
}

int PulseConnection::errorNumber() const
{
    return m_context ? pa_context_errno(m_context) : 0;
}

QString PulseConnection::errorText() const
{
    return QString::fromUtf8(pa_strerror(errorNumber()));
}

bool PulseConnection::waitFor(const std::function<bool()> &done, int timeoutMs) const
{
    // pa_threaded_mainloop_wait has no time-out, so a timer event on the loop wakes it up
    // every 100 ms to look at the clock.
    QElapsedTimer elapsed;
    elapsed.start();
    pa_mainloop_api *api = pa_threaded_mainloop_get_api(m_mainloop);
    while (!done()) {
        if (elapsed.elapsed() >= timeoutMs)
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
