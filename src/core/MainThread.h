#pragma once

#include <QCoreApplication>
#include <QMetaObject>

#include <utility>

// Queues `action` on the main thread's event loop, from any thread. The application object
// outlives every sender, so the call never targets a dead receiver; whoever the action
// touches must be checked inside it (hold it by QPointer).
template<typename Action>
void postToMainThread(Action &&action)
{
    QMetaObject::invokeMethod(QCoreApplication::instance(), std::forward<Action>(action), Qt::QueuedConnection);
}
