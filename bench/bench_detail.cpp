#include "AppServices.h"
#include "AppShell.h"
#include "Appearance.h"
#include "IconProvider.h"
#include "OndelStore.h"
#include "SystemColorScheme.h"
#include "Uuid.h"

#include <QElapsedTimer>
#include <QEventLoop>
#include <QQmlComponent>
#include <QQmlEngine>
#include <QQuickItem>
#include <QQuickStyle>
#include <QQuickWindow>
#include <QTimer>
#include <QtQml/qqmlextensionplugin.h>

#include <benchmark/benchmark.h>

Q_IMPORT_QML_PLUGIN(Ondel_AppPlugin)

namespace {

class LightDesktop final : public SystemColorScheme
{
public:
    bool prefersDark() const override { return false; }
};

// The shell's services over the bench's own store, and a QML engine that knows the screens.
struct Shell
{
    Shell()
    {
        QQuickStyle::setStyle(QStringLiteral("Fusion"));
        engine.addImportPath(QStringLiteral(":/qt/qml"));
        engine.addImageProvider(QStringLiteral("icon"), new IconProvider);
    }

    AppServices services{AppServices::Sounds::Silent};
    LightDesktop desktop;
    Appearance appearance{services.settings(), &desktop};
    AppShell shell{services, appearance};
    QQmlEngine engine;
};

Shell &shell()
{
    static Shell *shell = new Shell; // lives to the end: the QML types hold on to it
    return *shell;
}

// A three-hour meeting: 5,000 lines, the speakers taking turns every few lines.
QUuid longMeeting(OndelStore &store)
{
    Meeting meeting(QStringLiteral("Quarterly all hands"), QDateTime::currentDateTimeUtc());
    meeting.duration = 3 * 3600;
    meeting.summary = QStringLiteral("## Decisions\n- Ship the **mobile app** first\n\n## Action items\n- [ ] Send the deck");
    store.insert(meeting);
    QList<TranscriptSegment> lines;
    for (int i = 0; i < 5000; ++i) {
        TranscriptSegment s(QStringLiteral("line %1 of an ordinary meeting, with a few more words of speech").arg(i),
                            (i / 3) % 2 ? Speaker::them() : Speaker::me(), i * 2.2);
        s.meetingId = meeting.id;
        lines.append(s);
    }
    store.insert(lines);
    return meeting.id;
}

// The meeting's screen in a window of its own, with the transcript open at its end.
std::unique_ptr<QQuickWindow> openDetail(const QUuid &meetingId)
{
    QQmlComponent component(&shell().engine);
    component.setData(QByteArrayLiteral("import QtQuick\nimport Ondel.App\n"
                                        "Window { width: 1120; height: 740; visible: true\n"
                                        "  MeetingDetailView { anchors.fill: parent; meetingId: \"")
                          + uuidText(meetingId).toUtf8() + QByteArrayLiteral("\"; showTranscript: true } }"),
                      QUrl());
    std::unique_ptr<QQuickWindow> window(qobject_cast<QQuickWindow *>(component.create()));
    if (!window)
        qFatal("%s", qPrintable(component.errorString()));
    return window;
}

bool waitForFrame(QQuickWindow &window)
{
    QEventLoop loop;
    QObject::connect(&window, &QQuickWindow::frameSwapped, &loop, &QEventLoop::quit);
    QTimer::singleShot(5000, &loop, [&loop] { loop.exit(1); });
    return loop.exec() == 0;
}

} // namespace

// Opening the screen of a meeting with 5,000 lines, transcript open: from making the view to
// its first frame. Target: under 300 ms.
static void BM_DetailFirstFrame5000Lines(benchmark::State &state)
{
    const QUuid id = longMeeting(shell().services.store());
    for (auto _ : state) {
        QElapsedTimer timer;
        timer.start();
        std::unique_ptr<QQuickWindow> window = openDetail(id);
        if (!waitForFrame(*window)) {
            state.SkipWithError("no frame");
            return;
        }
        state.SetIterationTime(double(timer.nsecsElapsed()) / 1e9);
    }
}
BENCHMARK(BM_DetailFirstFrame5000Lines)->UseManualTime()->Unit(benchmark::kMillisecond)->Iterations(5);

// A new line arriving at the end of that feed: from the store's write to the frame that shows
// it, the view following the end. Target: under 8 ms.
static void BM_DetailFrameOnNewLine5000Lines(benchmark::State &state)
{
    OndelStore &store = shell().services.store();
    const QUuid id = longMeeting(store);
    std::unique_ptr<QQuickWindow> window = openDetail(id);
    waitForFrame(*window);
    // Let the opening settle: scrolled to the end, every late layout done.
    QEventLoop settle;
    QTimer::singleShot(500, &settle, &QEventLoop::quit);
    settle.exec();
    double at = 5000 * 2.2;
    int i = 0;
    for (auto _ : state) {
        // Lines far apart in time: each one is a bubble of its own.
        ++i;
        TranscriptSegment s(QStringLiteral("a new line arrives while the meeting runs, number %1").arg(i),
                            i % 2 ? Speaker::them() : Speaker::me(), at += 5);
        s.meetingId = id;
        QElapsedTimer timer;
        timer.start();
        store.insert(s);
        if (!waitForFrame(*window)) {
            state.SkipWithError("no frame");
            return;
        }
        state.SetIterationTime(double(timer.nsecsElapsed()) / 1e9);
        // The scroll to the new end animates for a quarter of a second; the next line comes after.
        QEventLoop pause;
        QTimer::singleShot(300, &pause, &QEventLoop::quit);
        pause.exec();
    }
}
BENCHMARK(BM_DetailFrameOnNewLine5000Lines)->UseManualTime()->Unit(benchmark::kMillisecond)->Iterations(20);
