#include "EdsThread.h"

#include <gio/gio.h>

namespace ondel {

namespace {

gboolean runJob(gpointer data)
{
    (*static_cast<std::function<void()> *>(data))();
    return G_SOURCE_REMOVE;
}

void dropJob(gpointer data)
{
    delete static_cast<std::function<void()> *>(data);
}

}  // namespace

EdsThread::EdsThread()
    : m_context(g_main_context_new())
    , m_loop(g_main_loop_new(m_context, FALSE))
    , m_cancellable(g_cancellable_new())
    , m_thread([this] { run(); })
{
}

EdsThread::~EdsThread()
{
    g_cancellable_cancel(m_cancellable);
    post([this] { g_main_loop_quit(m_loop); });
    m_thread.join();
    g_main_loop_unref(m_loop);
    g_main_context_unref(m_context);
    g_object_unref(m_cancellable);
}

void EdsThread::post(std::function<void()> job)
{
    g_main_context_invoke_full(m_context, G_PRIORITY_DEFAULT, runJob, new std::function<void()>(std::move(job)),
                               dropJob);
}

void EdsThread::run()
{
    g_main_context_push_thread_default(m_context);
    g_main_loop_run(m_loop);
    // What was queued behind the quit (the session's own teardown among it) still runs.
    while (g_main_context_iteration(m_context, FALSE)) {
    }
    g_main_context_pop_thread_default(m_context);
}

}  // namespace ondel
