// The window's lists and decisions over a real store, a real sound server and a session with
// stand-in credentials, on a fake clock: search, folders, selection, and the requests to record.
#include "AppServices.h"
#include "AppShell.h"
#include "AppState.h"
#include "Appearance.h"
#include "FakeClock.h"
#include "FakeDesktop.h"
#include "FolderListModel.h"
#include "MainContent.h"
#include "MeetingDetail.h"
#include "MeetingListModel.h"
#include "OndelStore.h"
#include "PulseServer.h"
#include "SessionDoubles.h"
#include "SettingsForm.h"
#include "TestHttpServer.h"
#include "TrayIcon.h"
#include "UtteranceSpool.h"
#include "WavFile.h"
#include "TestEnvironment.h"
#include "Uuid.h"
#include "pulse/MicRecorder.h"

#include <QtTest>

using namespace std::chrono_literals;

namespace {
// The mean lightness of an icon's drawn pixels.
int inkLightness(const QIcon &icon)
{
    const QImage image = icon.pixmap(32).toImage();
    int sum = 0, count = 0;
    for (int y = 0; y < image.height(); ++y)
        for (int x = 0; x < image.width(); ++x)
            if (const QColor c = image.pixelColor(x, y); c.alpha() > 200) {
                sum += c.lightness();
                ++count;
            }
    return count ? sum / count : -1;
}

QStringList texts(QMenu &menu)
{
    QStringList out;
    for (QAction *a : menu.actions())
        out << (!a->isSeparator() ? a->text() : a->text().isEmpty() ? QStringLiteral("---") : QStringLiteral("# ") + a->text());
    return out;
}

QAction *action(QMenu &menu, const QString &text)
{
    for (QAction *a : menu.actions())
        if (a->text() == text)
            return a;
    return nullptr;
}
} // namespace

class ShellModelsTest : public QObject
{
    Q_OBJECT

    QString addMeeting(const QString &title, qint64 minutesAgo, const QStringList &lines = {}, const QString &notes = {},
                       const QString &summary = {})
    {
        Meeting m(title, m_clock.now().addSecs(-60 * minutesAgo));
        m.userNotes = notes;
        if (!summary.isEmpty())
            m.summary = summary;
        m.duration = 600;
        OndelStore &store = m_services->store();
        if (!store.insert(m))
            return {};
        double t = 0;
        for (const QString &line : lines) {
            TranscriptSegment s(line, Speaker::them(), t += 3);
            s.meetingId = m.id;
            store.insert(s);
        }
        return uuidText(m.id);
    }

    TestEnvironment m_env;
    PulseServer m_pulse;
    FakeClock m_clock;
    FakeCredentials m_credentials;
    FakeLiveDraftEngine m_liveDraft;
    std::unique_ptr<AppServices> m_services;
    FakeDesktop m_desktop;
    std::unique_ptr<Appearance> m_appearance;
    std::unique_ptr<AppShell> m_shell;

private Q_SLOTS:
    void initTestCase()
    {
        QVERIFY2(m_pulse.start().isEmpty(), "the test's own PulseAudio server did not start");
        AppServices::Replacements replacements;
        replacements.clock = &m_clock;
        replacements.credentials = &m_credentials;
        replacements.liveDraft = &m_liveDraft;
        m_services = std::make_unique<AppServices>(AppServices::Sounds::Silent, replacements);
        m_appearance = std::make_unique<Appearance>(m_services->settings(), &m_desktop);
        m_shell = std::make_unique<AppShell>(*m_services, *m_appearance);
    }

    void init()
    {
        OndelStore &store = m_services->store();
        if (m_services->session().isRecording())
            m_services->session().stopRecording();
        for (const Meeting &m : store.meetings())
            store.removeMeeting(m.id);
        for (const Folder &f : store.folders())
            store.removeFolder(f.id);
        m_services->appState().refreshRecentMeetings(store);
    }

    void cleanupTestCase()
    {
        if (m_services && m_services->session().isRecording())
            m_services->session().stopRecording();
        m_shell.reset();
        m_appearance.reset();
        m_services.reset();
        m_pulse.stop();
    }

    // While recording, the banner says why "Me" is silent, and clears once a microphone is back.
    void micNoticeSaysWhyMeIsSilent()
    {
        MicRecorder &mic = m_services->micRecorder();
        QVERIFY(!mic.start());
        QCOMPARE(m_shell->micNotice(), QString());
        QVERIFY(!m_pulse.pactl({"set-default-source", "speakers.monitor"}).isNull());
        QTRY_VERIFY(m_shell->micNotice().contains("the sound input is a speaker monitor, not a microphone"));
        const QString module = m_pulse.pactl({"list", "short", "modules"}).section("source_name=mic", 0, 0).section('\n', -1).section('\t', 0, 0);
        QVERIFY(!m_pulse.pactl({"unload-module", module}).isNull());
        QTRY_VERIFY(m_shell->micNotice().contains("no microphone is connected"));
        QVERIFY(!m_pulse.pactl({"load-module", "module-remap-source", "master=mic_feed.monitor", "source_name=mic"}).isNull());
        QVERIFY(!m_pulse.pactl({"set-default-source", "mic"}).isNull());
        QTRY_COMPARE(m_shell->micNotice(), QString());
        mic.stop();
    }

    // Without the speech model, the live draft's row says what to install, and reads the
    // model again when the window comes back.
    void liveDraftRowSaysWhatToInstall()
    {
        SettingsForm form(*m_services);
        QVERIFY(form.liveDraftAvailable());
        QCOMPARE(form.liveDraftNote(), QString());
        m_liveDraft.available = false;
        QSignalSpy changed(&form, &SettingsForm::liveDraftAvailableChanged);
        form.refreshLiveDraft();
        QCOMPARE(changed.size(), 1);
        QVERIFY(!form.liveDraftAvailable());
        QVERIFY(form.liveDraftNote().contains("pocketsphinx-en-us"));
        m_liveDraft.available = true;
        form.refreshLiveDraft();
        QCOMPARE(form.liveDraftNote(), QString());
    }

    void searchMatchesTitleNotesAndLinesButNotTheSummary()
    {
        const QString budget = addMeeting("Budget review", 30, {"Hello all", "We need MORE coffee"});
        const QString standup = addMeeting("Standup", 20, {}, "Deploy on Friday");
        const QString retro = addMeeting("Retro", 10, {"fine"}, {}, "The coffee machine is broken");
        const QString phở = addMeeting("Ăn trưa ở quán phở", 5);
        const QString lunch = addMeeting("Lunch", 3, {"Chúng ta ĂN PHỞ nhé", "we grew 50% this year, say \"wow\""});

        MeetingListModel model(m_services->store(), m_clock);
        QCOMPARE(model.rowCount(), 5);

        const QList<std::pair<QString, QStringList>> cases{
            {"COFFEE", {budget}},           // a line, any case; the summary alone is not searched
            {"deploy", {standup}},          // the user's notes
            {"review", {budget}},           // the title
            {"QUÁN PHỞ", {phở}},            // case beyond ASCII
            {"e", {lunch, retro, standup, budget}}, // the list keeps its order, newest first
            {"ăn phở", {lunch}},            // a line in Vietnamese, case folded beyond ASCII
            {"Ở", {lunch, phở}},            // one letter, beyond ASCII
            {"0%", {lunch}},                // short text is no pattern
            {"50%", {lunch}},
            {"say \"wow", {lunch}},         // quotes are text
            {"%", {lunch}},
            {"_", {}},
        };
        for (const auto &[query, expected] : cases) {
            model.setSearchText(query);
            QVERIFY2(model.ids() == expected, qPrintable(query + ": " + model.ids().join(',')));
        }
        // A line stored during a search is found, and typing on narrows from there.
        model.setSearchText("coffee");
        QCOMPARE(model.ids(), QStringList{budget});
        TranscriptSegment late(QStringLiteral("Coffee time?"), Speaker::me(), 99);
        late.meetingId = parseUuid(standup);
        QVERIFY(m_services->store().insert(late));
        QTRY_COMPARE(model.ids(), (QStringList{standup, budget}));
        model.setSearchText("coffee t");
        QCOMPARE(model.ids(), QStringList{standup});
        model.setSearchText("coffee");
        QCOMPARE(model.ids(), (QStringList{standup, budget}));

        model.setSearchText("nothing like this");
        QVERIFY(model.noSearchResults());
        QCOMPARE(model.rowCount(), 0);
        model.setSearchText(QString());
        QCOMPARE(model.rowCount(), 5);
        QVERIFY(!model.noSearchResults());
    }

    void dateGroupsTurnAtMidnight()
    {
        addMeeting("Standup", 30);
        MeetingListModel model(m_services->store(), m_clock);
        const auto group = [&] { return model.index(0).data(MeetingListModel::GroupRole).toString(); };
        QCOMPARE(group(), QStringLiteral("Today"));
        for (const QString &next : {QStringLiteral("Yesterday"), QStringLiteral("This Week")}) {
            const QDateTime now = m_clock.now().toLocalTime();
            m_clock.advance(std::chrono::milliseconds(now.msecsTo(QDateTime(now.date().addDays(1), QTime(0, 0))) + 2000));
            QCOMPARE(group(), next);
        }
    }

    void foldersAreCreatedRenamedAndFiled()
    {
        const QString meeting = addMeeting("Planning", 5);
        FolderListModel folders(m_services->store());
        MeetingListModel inFolder(m_services->store(), m_clock);

        QCOMPARE(folders.createFolder("   \n ", "star", "x"), QString());
        QCOMPARE(folders.rowCount(), 0);

        const QString work = folders.createFolder("  Work \n", "briefcase", "  Clients and deals ", meeting);
        QVERIFY(!work.isEmpty());
        QTRY_COMPARE(folders.rowCount(), 1);
        const QModelIndex row = folders.index(0);
        QCOMPARE(row.data(FolderListModel::NameRole).toString(), QStringLiteral("Work"));
        QCOMPARE(row.data(FolderListModel::IconRole).toString(), QStringLiteral("briefcase"));
        QCOMPARE(row.data(FolderListModel::DetailRole).toString(), QStringLiteral("Clients and deals"));
        QTRY_COMPARE(folders.index(0).data(FolderListModel::MeetingCountRole).toInt(), 1);

        inFolder.setFolderId(work);
        QCOMPARE(inFolder.ids(), QStringList{meeting});
        QTRY_COMPARE(inFolder.index(0).data(MeetingListModel::FolderNameRole).toString(), QStringLiteral("Work"));

        // White space keeps the old name.
        QVERIFY(!folders.renameFolder(work, "  \t"));
        QVERIFY(folders.renameFolder(work, " Clients "));
        QTRY_COMPARE(folders.index(0).data(FolderListModel::NameRole).toString(), QStringLiteral("Clients"));

        // Choosing the folder again takes the meeting out.
        folders.toggleMeeting(work, meeting);
        QTRY_COMPARE(inFolder.rowCount(), 0);
        folders.toggleMeeting(work, meeting);
        QTRY_COMPARE(inFolder.rowCount(), 1);
        folders.removeFromFolder(meeting);
        QTRY_COMPARE(inFolder.rowCount(), 0);

        // An id that names nothing shows nothing, and garbage changes nothing.
        inFolder.setFolderId("not-an-id");
        QCOMPARE(inFolder.rowCount(), 0);
        folders.toggleMeeting("garbage", meeting);
        QVERIFY(!folders.renameFolder("garbage", "x"));
    }

    void selectionFollowsDeletions()
    {
        const QString shown = addMeeting("Shown", 5);
        const QString other = addMeeting("Other", 6);
        FolderListModel folders(m_services->store());
        const QString folder = folders.createFolder("Work", "folder", "", other);
        MainContent content(*m_shell);

        // Nothing chosen yet: the home page, with Home off; settings hide the idle strip.
        QCOMPARE(content.page(), MainContent::Page::Home);
        QVERIFY(!content.homeEnabled());
        content.showSettings();
        QVERIFY(!content.recordingBarVisible());
        QVERIFY(content.homeEnabled());
        content.showHome();
        QVERIFY(!content.homeEnabled());
        QVERIFY(content.recordingBarVisible());

        content.openMeeting(shown);
        QCOMPARE(content.page(), MainContent::Page::Meeting);
        content.deleteMeeting(other);
        QCOMPARE(content.page(), MainContent::Page::Meeting);
        QVERIFY(!m_services->store().meeting(*parseUuid(other)));
        content.deleteMeeting(shown);
        QCOMPARE(content.page(), MainContent::Page::Home);
        QVERIFY(!m_services->store().meeting(*parseUuid(shown)));

        // A folder's page goes home with its folder; a meeting in it stays, with no folder.
        const QString filed = addMeeting("Filed", 7);
        folders.toggleMeeting(folder, filed);
        content.openFolder(folder);
        QCOMPARE(content.page(), MainContent::Page::Folder);
        QCOMPARE(content.selectedId(), folder);
        content.deleteFolder(folder);
        QCOMPARE(content.page(), MainContent::Page::Home);
        QVERIFY(!m_services->store().meeting(*parseUuid(filed))->folderId.has_value());

        // Pages of things that do not exist are not opened.
        content.openMeeting(shown);
        content.openMeeting("garbage");
        QCOMPARE(content.page(), MainContent::Page::Home);
    }

    void requestsToRecordAskBeforeReplacingARecording()
    {
        const QString planned = addMeeting("Planned call", 60);
        TranscriptionSession &session = m_services->session();
        MainContent content(*m_shell);
        QSignalSpy asked(&content, &MainContent::confirmationChanged);

        content.quickNote();
        QTRY_VERIFY2(session.isRecording(), qPrintable(session.error()));
        // The new meeting comes up a moment later.
        m_clock.advance(300ms);
        QCOMPARE(content.page(), MainContent::Page::Meeting);
        const QString first = content.currentRecordingMeetingId();
        QCOMPARE(content.selectedId(), first);

        // While recording, settings keep the strip.
        content.showSettings();
        QVERIFY(content.recordingBarVisible());

        content.quickNote();
        QVERIFY(content.confirming());
        QCOMPARE(content.confirmationTitle(), QStringLiteral("Stop the current recording and start a new note?"));
        content.cancelConfirmation();
        QVERIFY(!content.confirming());
        QCOMPARE(content.currentRecordingMeetingId(), first);

        // The meeting being recorded: nothing to ask.
        content.startRecording(first);
        QVERIFY(!content.confirming());

        content.startRecording(planned);
        QVERIFY(content.confirming());
        QCOMPARE(content.confirmationTitle(), QStringLiteral("Stop recording \u201CNew Meeting\u201D and start a new one?"));
        content.confirmStopAndStart();
        QVERIFY(!content.confirming());
        QTRY_COMPARE(content.currentRecordingMeetingId(), planned);
        QVERIFY(session.isRecording());
        QVERIFY(asked.count() >= 4);

        session.stopRecording();
    }

    void trayMenuFollowsTheSession()
    {
        TranscriptionSession &session = m_services->session();
        TrayIcon tray(*m_shell, &m_desktop);
        QCOMPARE(tray.iconSymbol(), QStringLiteral("waveform"));
        // Idle, the icon is drawn in the desktop's ink: it never vanishes on a light panel.
        QVERIFY2(inkLightness(tray.icon()) < 80, qPrintable(QString::number(inkLightness(tray.icon()))));
        m_desktop.setDark(true);
        QVERIFY2(inkLightness(tray.icon()) > 200, qPrintable(QString::number(inkLightness(tray.icon()))));
        m_desktop.setDark(false);
        QCOMPARE(texts(tray.menu()),
                 (QStringList{"Start Recording", "---", "Open Ondel", "Settings...", "---", "Quit Ondel"}));

        action(tray.menu(), "Start Recording")->trigger();
        QTRY_VERIFY2(session.isRecording(), qPrintable(session.error()));
        QCOMPARE(tray.iconSymbol(), QStringLiteral("record.circle"));
        QCOMPARE(texts(tray.menu()).mid(0, 3), (QStringList{"Recording \u2014 0:00", "---", "Stop Recording"}));

        // The menu's clock runs on through a pause, and counts minutes past the hour.
        m_clock.advance(2s);
        session.pauseRecording();
        m_clock.advance(3600s);
        QCOMPARE(texts(tray.menu()).constFirst(), QStringLiteral("Recording \u2014 60:02"));
        session.resumeRecording();

        action(tray.menu(), "Stop Recording")->trigger();
        QCOMPARE(tray.iconSymbol(), QStringLiteral("waveform"));

        // Finished meetings are listed, as plain rows, with a date relative to now.
        addMeeting("Budget review", 90, {"numbers"});
        m_services->appState().refreshRecentMeetings(m_services->store());
        QCOMPARE(texts(tray.menu()).mid(0, 5),
                 (QStringList{"Start Recording", "---", "# Recent", "Budget review  \u00B7  1 hour ago", "---"}));
        QVERIFY(!action(tray.menu(), "Budget review  \u00B7  1 hour ago")->isEnabled());

        QSignalSpy open(&tray, &TrayIcon::openWindowRequested);
        action(tray.menu(), "Open Ondel")->trigger();
        QCOMPARE(open.count(), 1);
    }

    // The meeting screen counts the parts whose audio waits in the spool, and sends them again
    // on request: the service still down keeps them; once it answers, each line lands at its
    // place and the count goes down to none.
    void meetingScreenTranscribesTheSpoolAgain()
    {
        const QString id = addMeeting("Sync", 5, {"first words"});
        const QUuid meetingId = *parseUuid(id);
        UtteranceSpool &spool = m_services->spool();
        const QByteArray wav = WavFile::mono16(QByteArray(48000, '\x11'), 24000);
        QVERIFY(spool.add(meetingId, QStringLiteral("Me"), 1.5, wav) && spool.add(meetingId, QStringLiteral("Them"), 7.25, wav));
        TestHttpServer server;
        bool down = true;
        server.setHandler([&](const TestHttpServer::Request &) {
            return down ? TestHttpServer::Reply::json("{}", 503)
                        : server.requestCount() == 3 ? TestHttpServer::Reply::held() : TestHttpServer::Reply::json(R"({"text":"said late"})");
        });
        const std::optional<ModelCredentials> saved = m_credentials.credentials;
        m_credentials.credentials = ModelCredentials{server.url(), QStringLiteral("key"), false};

        MeetingDetail detail(*m_shell);
        detail.setMeetingId(id);
        QCOMPARE(detail.spooledCount(), 2);
        QCOMPARE(detail.spooledText(), QStringLiteral("2 parts couldn't be transcribed yet"));
        QSignalSpy spool_(&detail, &MeetingDetail::spoolChanged);
        detail.transcribeAgain();
        QVERIFY(detail.isTranscribingAgain());
        QTRY_VERIFY(!detail.isTranscribingAgain());
        QCOMPARE(server.requestCount(), 1); // the first failure ends the pass
        QCOMPARE(detail.spooledCount(), 2);

        down = false;
        detail.transcribeAgain();
        QTRY_COMPARE(detail.spooledText(), QStringLiteral("1 part couldn't be transcribed yet"));
        QTRY_COMPARE(server.requestCount(), 3);
        const QByteArray body = R"({"text":"later on"})";
        server.write(2, "HTTP/1.1 200 OK\r\nContent-Length: " + QByteArray::number(body.size()) + "\r\n\r\n" + body);
        QTRY_COMPARE(detail.spooledCount(), 0);
        QVERIFY(!detail.isTranscribingAgain() && spool_.count() >= 4);
        QStringList lines;
        for (const TranscriptSegment &s : m_services->store().segments(meetingId))
            lines << QStringLiteral("%1@%2: %3").arg(s.speakerRaw).arg(s.timestamp).arg(s.text);
        lines.sort();
        QCOMPARE(lines, (QStringList{"Me@1.5: said late", "Them@3: first words", "Them@7.25: later on"}));
        m_credentials.credentials = saved;
    }

};

QTEST_MAIN(ShellModelsTest)
#include "tst_shellmodels.moc"
