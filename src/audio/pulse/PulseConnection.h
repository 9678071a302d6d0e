#pragma once

#include <QString>

#include <functional>
#include <optional>

struct pa_context;
struct pa_threaded_mainloop;

// A connection to the PulseAudio server on a threaded main loop of its own: what the
// recorders and the cue player share. Waits never hang on a server that stalls.
class PulseConnection
{
public:
    PulseConnection() = default;
    ~PulseConnection() { close(); }

    PulseConnection(const PulseConnection &) = delete;
    PulseConnection &operator=(const PulseConnection &) = delete;

    // Connects within `timeoutMs`. `onStateChange` runs on the loop's thread at each change of
    // the context, with whether it is still usable. Empty on success, else PulseAudio's error.
    std::optional<QString> open(int timeoutMs, std::function<void(bool usable)> onStateChange = {});
    // Runs `beforeDisconnect` with the loop locked (to let go of streams), then disconnects and
    // ends the loop's thread.
    void close(const std::function<void()> &beforeDisconnect = {});

    bool isOpen() const { return m_mainloop != nullptr; }
    bool isReady() const;
    pa_threaded_mainloop *loop() const { return m_mainloop; }
    pa_context *context() const { return m_context; }
    int errorNumber() const;
    QString errorText() const;

    // With the loop locked: waits until `done` holds, at most `timeoutMs`.
    bool waitFor(const std::function<bool()> &done, int timeoutMs) const;

private:
    static void contextStateChanged(pa_context *context, void *self);

    pa_threaded_mainloop *m_mainloop = nullptr;
    pa_context *m_context = nullptr;
    std::function<void(bool)> m_onStateChange;
};
