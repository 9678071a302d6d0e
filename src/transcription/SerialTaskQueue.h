#pragma once

#include <QFuture>
#include <QMutex>
#include <QObject>
#include <QPromise>

#include <deque>
#include <functional>
#include <memory>

// Runs asynchronous tasks one at a time, in the order they were queued, on this object's
// thread. Each task belongs to an owner that the queue holds only weakly while the task waits:
// a task whose owner is gone by its turn is skipped. While a task runs, the queue holds its owner,
// so the owner may be released (and destroyed) on this thread when the task ends.
class SerialTaskQueue : public QObject
{
public:
    // Called once the task has ended, on this object's thread.
    using Done = std::function<void()>;
    using Task = std::function<void(Done done)>;

    explicit SerialTaskQueue(QObject *parent = nullptr);
    ~SerialTaskQueue() override;

    // From any thread. The future finishes when the task has ended or was skipped; since tasks
    // end in order, that also means every task queued before it has ended.
    QFuture<void> enqueue(std::weak_ptr<void> owner, Task task);
    // The future of the last task queued; finished when nothing was ever queued.
    QFuture<void> tail() const;

private:
    struct Entry
    {
        std::weak_ptr<void> owner;
        Task task;
        std::shared_ptr<QPromise<void>> promise;
    };

    void runNext();
    void finishCurrent();

    mutable QMutex m_mutex; // guards m_pending and m_tail
    std::deque<Entry> m_pending;
    QFuture<void> m_tail;

    // This thread only.
    bool m_running = false;
    std::shared_ptr<void> m_currentOwner;
    std::shared_ptr<QPromise<void>> m_currentPromise;
};
