#pragma once

#include <functional>
#include <thread>

typedef struct _GCancellable GCancellable;
typedef struct _GMainContext GMainContext;
typedef struct _GMainLoop GMainLoop;

namespace ondel {

// The thread on which every call into Evolution Data Server runs: a GLib main loop on a context
// of its own, made the thread's default so that the library's objects (the registry, clients,
// views) deliver their signals here and never on the main thread. Jobs run one after another.
class EdsThread {
public:
    EdsThread();
    ~EdsThread();  // cancels what runs, lets the queued jobs finish, and joins

    EdsThread(const EdsThread &) = delete;
    EdsThread &operator=(const EdsThread &) = delete;

    void post(std::function<void()> job);
    // Cancelled when the thread is stopping, so that a slow call ends early.
    GCancellable *cancellable() const { return m_cancellable; }

private:
    void run();

    GMainContext *m_context;
    GMainLoop *m_loop;
    GCancellable *m_cancellable;
    std::thread m_thread;
};

}  // namespace ondel
