#include "FakeClock.h"
#include "SystemClock.h"

#include <QSignalSpy>
#include <QTest>
#include <QThread>

using namespace std::chrono_literals;

class TestClock : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    // Due actions run in order of due time, and those of a dead context never.
    void fakeClockRunsDueActionsInOrder()
    {
        FakeClock clock;
        const QDateTime start = clock.now();
        QStringList ran;
        QObject context;
        clock.schedule(900ms, &context, [&] { ran << "debounce"; });
        const auto cancelled = clock.schedule(500ms, &context, [&] { ran << "cancelled"; });
        clock.schedule(35s, &context, [&] { ran << "guard"; });
        clock.schedule(800ms, &context, [&] {
            ran << QStringLiteral("retry at %1").arg(start.msecsTo(clock.now()));
            clock.schedule(800ms, &context, [&] { ran << "second retry"; }); // falls within the step
        });
        clock.cancel(cancelled);
        auto *gone = new QObject;
        clock.schedule(1s, gone, [&] { ran << "of a dead context"; });
        delete gone;

        clock.advance(2s);
        QCOMPARE(ran, (QStringList{"retry at 800", "debounce", "second retry"}));
        QCOMPARE(start.msecsTo(clock.now()), 2000);
        QCOMPARE(clock.pendingCount(), 1);

        clock.advance(33s);
        QCOMPARE(ran.last(), QStringLiteral("guard"));
        QCOMPARE(clock.pendingCount(), 0);
    }

    // The real clock: zero delays only, so nothing here waits for wall time to pass.
    void systemClockRunsOnTheContextsThreadAndCancels()
    {
        Clock &clock = Clock::system();
        QThread worker;
        worker.start();
        auto *contextObject = new QObject;
        contextObject->moveToThread(&worker);
        QObject &context = *contextObject;

        std::atomic<QThread *> ranOn = nullptr;
        std::atomic<bool> cancelledRan = false;
        const auto doomed = clock.schedule(0ms, &context, [&] { cancelledRan = true; });
        clock.cancel(doomed);
        clock.schedule(0ms, &context, [&] { ranOn = QThread::currentThread(); });
        QTRY_VERIFY(ranOn.load() != nullptr);
        QCOMPARE(ranOn.load(), &worker);
        // Queued after the others on the same thread: once it has run, the cancelled one had its chance.
        std::atomic<bool> last = false;
        clock.schedule(0ms, &context, [&] { last = true; });
        QTRY_VERIFY(last.load());
        QVERIFY(!cancelledRan);

        clock.cancel(123456); // unknown ids are ignored
        QMetaObject::invokeMethod(contextObject, [contextObject] { delete contextObject; }, Qt::BlockingQueuedConnection);
        worker.quit();
        worker.wait();
    }
};

QTEST_GUILESS_MAIN(TestClock)
#include "tst_clock.moc"
