#include "SerialTaskQueue.h"

#include <QPointer>

SerialTaskQueue::SerialTaskQueue(QObject *parent)
    : QObject(parent)
    , m_tail(QtFuture::makeReadyFuture())
{
}

SerialTaskQueue::~SerialTaskQueue()
{
    // Promises still pending finish as cancelled when they go, so no waiter hangs.
    QMutexLocker lock(&m_mutex);
    m_pending.clear();
}

QFuture<void> SerialTaskQueue::enqueue(std::weak_ptr<void> owner, Task task)
{
    auto promise = std::make_shared<QPromise<void>>();
    promise->start();
    QFuture<void> future = promise->future();
    {
        QMutexLocker lock(&m_mutex);
        m_pending.push_back(Entry{std::move(owner), std::move(task), std::move(promise)});
        m_tail = future;
    }
    QMetaObject::invokeMethod(this, [this] { runNext(); }, Qt::QueuedConnection);
    return future;
}

QFuture<void> SerialTaskQueue::tail() const
{
    QMutexLocker lock(&m_mutex);
    return m_tail;
}

void SerialTaskQueue::runNext()
{
    while (!m_running) {
        Entry entry;
        {
            QMutexLocker lock(&m_mutex);
            if (m_pending.empty())
                return;
            entry = std::move(m_pending.front());
            m_pending.pop_front();
        }
        std::shared_ptr<void> owner = entry.owner.lock();
        if (!owner) {
            entry.promise->finish();
            continue;
        }
        m_running = true;
        m_currentOwner = std::move(owner);
        m_currentPromise = std::move(entry.promise);
        // A task may end at once, inside this call; the guard tells a late or second call apart.
        auto ended = std::make_shared<bool>(false);
        const QPointer<SerialTaskQueue> self(this);
        entry.task([self, ended] {
            if (!self || std::exchange(*ended, true))
                return;
            self->finishCurrent();
        });
    }
}

void SerialTaskQueue::finishCurrent()
{
    const std::shared_ptr<QPromise<void>> promise = std::move(m_currentPromise);
    m_running = false;
    // Releasing the owner may destroy it, here on this thread; this object outlives that call
    // (its owner deletes it later, never synchronously from this thread).
    m_currentOwner.reset();
    promise->finish();
    QMetaObject::invokeMethod(this, [this] { runNext(); }, Qt::QueuedConnection);
}
