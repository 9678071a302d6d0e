#include "CalendarRig.h"
#include "EventClassification.h"
#include "EventMirror.h"

#include <QCoreApplication>
#include <QEventLoop>

#include <benchmark/benchmark.h>

using namespace calendarrig;

namespace {

// A typical invitation: ten people and a room, and the long notes a conference service writes,
// with a link to the agenda ahead of the join link.
CalendarStoreEvent invitation(const QString &id, const QString &calendarId, const QDateTime &start)
{
    CalendarStoreEvent e = storeEvent(id, calendarId, start, QStringLiteral("Quarterly planning sync"), 10);
    e.attendees.append({QStringLiteral("Room 4"), {}, false, false, false});
    e.location = QStringLiteral("Room 4, Floor 2");
    QString notes = QStringLiteral("Agenda: https://docs.example.com/d/1a2b3c (please read before)\n");
    for (int i = 0; i < 20; ++i)
        notes += QStringLiteral("Line %1 of the dial-in text, e.g. +1 555 0100 ext. %1, PIN 123456#.\n").arg(i);
    notes += QStringLiteral("Join: <https://teams.microsoft.com/l/meetup-join/19%3ameeting_abc%40thread.v2/0?context=%7b%7d>\n");
    e.notes = notes;
    return e;
}

}  // namespace

// One event mirrored: the names, the link search over its notes, and the verdict.
static void BM_CalendarClassifyEvent(benchmark::State &state)
{
    const CalendarStoreEvent e = invitation(QStringLiteral("ev"), QStringLiteral("work"), QDateTime::currentDateTimeUtc());
    const CalendarInfo calendar = EventMirror::calendarInfo({QStringLiteral("work"), QStringLiteral("Work"), std::nullopt, {},
                                                            CalendarStoreCalendar::Type::ordinary, false});
    for (auto _ : state)
        benchmark::DoNotOptimize(EventMirror::mirror(e, &calendar, false));
}
BENCHMARK(BM_CalendarClassifyEvent);

// The verdict alone, from link, count and title.
static void BM_CalendarVerdict(benchmark::State &state)
{
    const QString title = QString::fromUtf8("Nghỉ trưa với nhóm");
    for (auto _ : state)
        benchmark::DoNotOptimize(EventClassification::classify(false, 1, title, false));
}
BENCHMARK(BM_CalendarVerdict);

// A full resync of 1,000 (and 50,000) events across 5 calendars, the store answering from the
// event loop as the desktop's does. Time: wall time of the resync; CPU: the main thread's time in
// it (beyond 1,000 entries the mirroring runs on a worker, outside that figure).
static void BM_CalendarResync(benchmark::State &state)
{
    Rig rig;
    rig.store.queued = true;
    rig.store.calendars.clear();
    for (int c = 0; c < 5; ++c)
        rig.store.calendars.append(calendar(QStringLiteral("cal-%1").arg(c), QStringLiteral("Account"), QStringLiteral("Calendar %1").arg(c)));
    const int count = int(state.range(0));
    for (int i = 0; i < count; ++i) {
        CalendarStoreEvent e = invitation(QStringLiteral("ev-%1").arg(i), QStringLiteral("cal-%1").arg(i % 5),
                                          rig.today.addSecs(600 * (i % 1000)));
        if (i % 3)
            e.notes.reset();
        rig.store.events.append(e);
    }
    CalendarService &service = rig.make();
    QEventLoop loop;
    QObject::connect(&service, &CalendarService::idle, &loop, &QEventLoop::quit);
    loop.exec();
    if (service.events().size() != count)
        state.SkipWithError("the resync did not read every event");
    int round = 0;
    for (auto _ : state) {
        // A different title each round, so that every resync publishes.
        rig.store.events[0].title = QStringLiteral("Sync %1").arg(++round);
        service.resync();
        loop.exec();
    }
}
BENCHMARK(BM_CalendarResync)->Arg(1000)->Arg(50'000)->Unit(benchmark::kMillisecond);
