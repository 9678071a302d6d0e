#include "EdsCalendarStore.h"
#include "EdsFixture.h"

#include <QEventLoop>
#include <QElapsedTimer>
#include <QTimer>

#include <benchmark/benchmark.h>

#include <ctime>

using namespace ondel;

namespace {

constexpr int kCalendars = 5;
constexpr int kEventsEach = 200;
const QDateTime kFrom = QDateTime(QDate(2026, 10, 26), QTime(0, 0), Qt::UTC);

double threadCpuMs()
{
    timespec now {};
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &now);
    return double(now.tv_sec) * 1000.0 + double(now.tv_nsec) / 1e6;
}

// 200 events a calendar over the week, a few attendees each, one in ten a weekly series.
QByteArray weekOfEvents(int calendar)
{
    QByteArray body = "BEGIN:VCALENDAR\r\nVERSION:2.0\r\nPRODID:-//Ondel bench//EN\r\n";
    for (int i = 0; i < kEventsEach; ++i) {
        const QDateTime start = kFrom.addSecs(qint64(i) * 3000 + calendar * 60);
        const auto stamp = [](const QDateTime &t) { return t.toString(QStringLiteral("yyyyMMdd'T'HHmmss'Z'")).toLatin1(); };
        body += "BEGIN:VEVENT\r\nUID:e" + QByteArray::number(i) + "\r\nDTSTAMP:20261001T000000Z\r\nSUMMARY:Sync "
            + QByteArray::number(i) + "\r\nDTSTART:" + stamp(start) + "\r\nDTEND:" + stamp(start.addSecs(1800))
            + "\r\nLOCATION:https://meet.google.com/abc-defg-hij\r\n"
              "ATTENDEE;CN=Ann:mailto:ann@example.com\r\nATTENDEE;CN=Bob:mailto:bob@example.com\r\n"
              "ATTENDEE;CUTYPE=ROOM;CN=Room:mailto:room@example.com\r\n"
            + (i % 10 == 0 ? QByteArray("RRULE:FREQ=WEEKLY\r\n") : QByteArray()) + "END:VEVENT\r\n";
    }
    return body + "END:VCALENDAR\r\n";
}

EdsFixture *fixture()
{
    static EdsFixture *eds = [] {
        auto *made = new EdsFixture; // lives as long as the process, like its bus
        for (int c = 0; c < kCalendars; ++c) {
            const QString file = made->writeFile(QStringLiteral("bench%1.ics").arg(c), weekOfEvents(c));
            made->writeCalendar(QStringLiteral("bench%1").arg(c), QStringLiteral("Bench %1").arg(c), {}, {},
                                QStringLiteral("local"),
                                QStringLiteral("[Local Backend]\nCustomFile=%1\n").arg(QUrl::fromLocalFile(file).toString()));
        }
        if (made->missing().isEmpty())
            made->start();
        return made;
    }();
    return eds;
}

// A full read of the week: 1,000 events across five calendars, as a resync asks for them. The
// first read opens the calendars (and starts EDS's calendar factory); later reads are warm.
void BM_EdsReadWeekOf1000Events(benchmark::State &state)
{
    EdsFixture *eds = fixture();
    if (!eds->error().isEmpty() || !eds->missing().isEmpty()) {
        state.SkipWithError(qPrintable(eds->missing().isEmpty() ? eds->error() : eds->missing()));
        return;
    }
    EdsCalendarStore store;
    QStringList ids;
    for (int c = 0; c < kCalendars; ++c)
        ids << QStringLiteral("bench%1").arg(c);

    qint64 longest = 0;
    QElapsedTimer sinceLastTurn;
    QTimer turn;
    turn.setTimerType(Qt::PreciseTimer);
    turn.setInterval(1);
    QObject::connect(&turn, &QTimer::timeout, [&] { longest = std::max(longest, sinceLastTurn.restart()); });

    // One read: its wall time and the main thread's own CPU time; with `watchTurns`, the 1 ms
    // timer that finds the longest turn of the event loop runs beside it (and costs CPU itself).
    qsizetype events = 0;
    const auto read = [&](bool watchTurns, double *mainThreadMs) {
        QEventLoop loop;
        const double cpu = threadCpuMs();
        QElapsedTimer wall;
        wall.start();
        if (watchTurns) {
            sinceLastTurn.start();
            turn.start();
        }
        store.readEvents(kFrom, kFrom.addDays(7), ids, [&](QList<CalendarStoreEvent> answer) {
            events = answer.size();
            loop.quit();
        });
        loop.exec();
        turn.stop();
        if (mainThreadMs)
            *mainThreadMs += threadCpuMs() - cpu;
        return double(wall.elapsed());
    };
    const double firstMs = read(true, nullptr);
    double mainThreadMs = 0;
    for (auto _ : state)
        read(false, &mainThreadMs);
    state.counters["events"] = double(events);
    state.counters["first_read_ms"] = firstMs;
    state.counters["main_thread_cpu_ms"] = benchmark::Counter(mainThreadMs, benchmark::Counter::kAvgIterations);
    state.counters["longest_turn_ms"] = double(longest);
}
BENCHMARK(BM_EdsReadWeekOf1000Events)->Iterations(6)->Unit(benchmark::kMillisecond)->UseRealTime();

} // namespace
