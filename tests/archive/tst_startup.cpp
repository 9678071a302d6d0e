#include "ArchiveRig.h"
#include "ArchiveRecovery.h"
#include "MeetingImporter.h"
#include "StoreFault.h"
#include "TestEnvironment.h"
#include "WavFile.h"

#include <QSignalSpy>
#include <QTimer>

#include <algorithm>

namespace {

// One meeting as a previous process left it.
struct Leftover
{
    QString title;
    bool recording;
    int lines;
    bool linked;
    QString notes;
    bool summary;
    QString fate; // "kept", "archived", "deleted on close", "purged", "archived, then purged"
    bool spooled = false; // audio that could not be transcribed yet
};

} // namespace

Q_DECLARE_METATYPE(Leftover)

class TestStartUp : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void repairs_data()
    {
        QTest::addColumn<Leftover>("m");
        QTest::newRow("stale with lines") << Leftover{"Standup", true, 2, false, "", false, "archived"};
        QTest::newRow("stale empty quick note") << Leftover{"Standup", true, 0, false, " \n\t", false, "deleted on close"};
        QTest::newRow("stale empty, linked") << Leftover{"Standup", true, 0, true, "", false, "archived"};
        QTest::newRow("New Meeting, nothing") << Leftover{"New Meeting", false, 0, false, "", false, "purged"};
        QTest::newRow("no title, blank notes") << Leftover{"", false, 0, false, "  \n", false, "purged"};
        QTest::newRow("New Meeting, summary only") << Leftover{"New Meeting", false, 0, false, "", true, "kept"};
        QTest::newRow("empty, the user's title") << Leftover{"Budget", false, 0, false, "", false, "kept"};
        // Closed (it is linked), then purged (an empty "New Meeting"): only this order does both.
        QTest::newRow("stale empty New Meeting, linked") << Leftover{"New Meeting", true, 0, true, "", false, "archived, then purged"};
        // Audio still waiting in the spool keeps a meeting from being empty, on either count.
        QTest::newRow("stale New Meeting, only audio spooled") << Leftover{"New Meeting", true, 0, false, "", false, "archived", true};
        QTest::newRow("New Meeting, only audio spooled") << Leftover{"New Meeting", false, 0, false, "", false, "kept", true};
    }
    void repairs()
    {
        QFETCH(Leftover, m);
        ArchiveRig rig;
        LogRecorder log;
        const QUuid id = rig.add(m.title, kMonday, m.lines);
        rig.store->update(id, [&](Meeting &x) {
            x.isRecording = m.recording;
            x.userNotes = m.notes;
            if (m.linked)
                x.calendarEventId = QStringLiteral("event");
            if (m.summary)
                x.summary = QStringLiteral("notes");
        });
        if (m.spooled)
            QVERIFY(rig.spool.add(id, QStringLiteral("Me"), 4.2, WavFile::mono16(QByteArray(9600, '\x11'), 24000)));
        rig.state->startUp(*rig.store);
        rig.archiver->waitForIdle();

        const bool gone = m.fate != QLatin1String("kept") && m.fate != QLatin1String("archived");
        QCOMPARE(!rig.store->meeting(id), gone);
        QVERIFY(gone || !rig.store->meeting(id)->isRecording);
        QStringList lines;
        if (m.recording)
            lines << QStringLiteral("[Ondel] Finalizing 1 stale recording(s) from a previous session");
        if (m.fate.endsWith(QLatin1String("purged")))
            lines << QStringLiteral("[Ondel] Purging 1 empty meeting(s)");
        QCOMPARE(log.lines(), lines);
        // Every meeting still there has its file by the end; a purged one keeps any file it had.
        QCOMPARE(rig.files().size(), int(!gone || m.fate.startsWith(QLatin1String("archived"))));
        QCOMPARE(rig.state->recentMeetings().size(), int(!gone));
    }

    // A failed read is no empty answer: nothing is deleted by it, and the recent list stays.
    void failedReadsStopTheRepairs()
    {
        ArchiveRig rig;
        const QUuid stale = rig.add(QStringLiteral("Standup"));
        rig.store->update(stale, [](Meeting &m) { m.isRecording = true; });
        const QUuid empty = rig.add(QStringLiteral("New Meeting"));
        rig.state->refreshRecentMeetings(*rig.store);
        StoreFault fault(rig.store->filePath());
        fault.hide(QStringLiteral("transcript_segments"));
        rig.state->startUp(*rig.store);
        QVERIFY(rig.store->meeting(stale) && rig.store->meeting(empty));
        fault.hide(QStringLiteral("meetings"));
        rig.state->refreshRecentMeetings(*rig.store);
        QCOMPARE(rig.state->recentMeetings().size(), 1);
        fault.heal();
        rig.state->startUp(*rig.store); // the next launch
        QVERIFY(!rig.store->meeting(stale) && !rig.store->meeting(empty));
        QVERIFY(rig.state->recentMeetings().isEmpty());
    }

    void autoStartComesLast()
    {
        ArchiveRig rig;
        LogRecorder log;
        rig.state->startUp(*rig.store); // nothing at all: every step stops early, silently
        QVERIFY(log.lines().isEmpty());
        QVERIFY(!QFileInfo::exists(rig.archiver->root()));

        for (int day = 1; day <= 4; ++day)
            rig.add(QStringLiteral("M%1").arg(day), kMonday.addDays(day));
        rig.store->update(rig.add(QString(), kMonday.addDays(5), 1), [](Meeting &m) { m.isRecording = true; });
        StartupParts parts;
        parts.startAutoStart = [&] { QCOMPARE(rig.state->recentMeetings().size(), 3); };
        rig.state->startUp(*rig.store, parts);
        const auto titles = [&] {
            QStringList t;
            for (const RecentMeetingInfo &r : rig.state->recentMeetings())
                t << r.title;
            return t;
        };
        QCOMPARE(titles(), (QStringList{"Untitled Meeting", "M4", "M3"}));

        // While this process records, a meeting left recording is not stale yet, and the live one is not listed.
        const QUuid stale = rig.add(QStringLiteral("Stale"), kMonday.addDays(7));
        rig.store->update(stale, [](Meeting &m) { m.isRecording = true; });
        rig.state->session().startRecording(rig.store.get());
        rig.state->startUp(*rig.store);
        QVERIFY(rig.store->meeting(stale)->isRecording);
        QCOMPARE(titles(), (QStringList{"Untitled Meeting", "M4", "M3"}));
    }

    void recoversOnlyIntoAnEmptyStore()
    {
        QCOMPARE(MeetingImporter::recoveryFolder(), QDir::homePath() + QStringLiteral("/OndelNotes"));
        ArchiveRig rig;
        QTemporaryDir folder;
        const auto run = [&] { return MeetingImporter::runIfNeeded(*rig.store, rig.clock, folder.path()); };
        LogRecorder log;
        const QByteArray good = file("title: t").toUtf8();
        folder.remove();
        QCOMPARE(run(), 0); // no folder
        for (const auto &[name, bytes] : std::initializer_list<std::pair<const char *, QByteArray>>{
                 {"crlf.md", QByteArray(good).replace("\n", "\r\n")}, {"latin1.md", "---\ntitle: caf\xe9\n---\n"},
                 {"upper.MD", good}, {"notes.txt", good}, {"empty.md", {}}})
            putFile(folder.filePath(QString::fromLatin1(name)), bytes);
        QCOMPARE(run(), 0);
        QVERIFY(log.lines().isEmpty());

        for (const char *name : {"2026/a.md", "x/y/z/b.md", ".hidden/c.md", ".d.md"})
            putFile(folder.filePath(QString::fromLatin1(name)), (name[0] == 'x' ? "\xEF\xBB\xBF" : "") + file("id: " + kId).toUtf8());
        QCOMPARE(run(), 4); // four copies of one id (one with a byte-order mark): four meetings
        QCOMPARE(log.lines(), QStringList{QStringLiteral("[Ondel] Recovered 4 meeting(s) from OndelNotes archive")});
        QVERIFY(rig.store->meeting(QUuid::fromString(kId)));
        QCOMPARE(run(), 0); // no longer empty
    }

    // Beside the start-up: the event loop turns between short transactions, and the progress
    // climbs to the end. Files are read a batch ahead; across batches each comes back once, whole.
    void recoveryRunsBesideInBatches()
    {
        ArchiveRig rig;
        QTemporaryDir folder;
        QStringList ids;
        for (int i = 0; i < 600; ++i) {
            ids << (i == 599 ? ids.first() : uuidText(QUuid::createUuid())); // the last copies the first
            putFile(folder.filePath(QStringLiteral("%1.md").arg(i)),
                (file(QStringLiteral("id: %1\ntitle: m%2").arg(ids.last()).arg(i))
                 + QStringLiteral("## Transcript\n[00:01] **Speaker A:** hello %1\n[00:02] **Speaker B:** bye\n").arg(i))
                    .toUtf8());
        }
        ArchiveRecovery recovery(*rig.store, rig.clock, folder.path());
        QSignalSpy finished(&recovery, &ArchiveRecovery::finished);
        QList<int> progress;
        connect(&recovery, &ArchiveRecovery::progressChanged, this, [&] { progress << recovery.filesDone(); });
        int turnsBeside = 0;
        QTimer beside;
        connect(&beside, &QTimer::timeout, this, [&] { turnsBeside += int(recovery.running()); });
        beside.start(0);
        recovery.start();
        QVERIFY(recovery.running());
        QVERIFY(finished.wait(20000));
        QCOMPARE(finished.first().first().toInt(), 600);
        QVERIFY(turnsBeside > 0);
        QVERIFY(std::is_sorted(progress.begin(), progress.end()));
        QCOMPARE(progress.last(), 600);
        QCOMPARE(recovery.fileCount(), 600);
        QVERIFY(!recovery.running());
        QCOMPARE(rig.store->meetingCount(), 600);
        QSet<QString> titles;
        for (const Meeting &m : rig.store->meetings()) {
            const QList<TranscriptSegment> lines = rig.store->segments(m.id);
            QCOMPARE(lines.size(), 2);
            QCOMPARE(lines.first().text, QStringLiteral("hello ") + m.title.mid(1));
            titles << m.title;
        }
        QCOMPARE(titles.size(), 600);
        QCOMPARE(rig.store->meeting(QUuid::fromString(ids.first()))->title, QStringLiteral("m0")); // the earlier file keeps the id
    }

    // The archiver writes, the store is lost, the next start reads back: exactly the format's losses.
    void lostStoreIsRebuiltAtStartUp()
    {
        QTemporaryDir folder;
        auto rig = std::make_unique<ArchiveRig>(folder.path());
        Meeting a(QStringLiteral("Q \"3\" \\ plan"), QDateTime(QDate(2026, 1, 5), QTime(9, 30, 12, 700), Qt::UTC));
        a.duration = 125.7;
        a.summary = QStringLiteral("S");
        a.userNotes = QStringLiteral(" N ");
        a.calendarEventId = QStringLiteral("event");
        Meeting b(QString(), a.date.addDays(1));
        b.userNotes = QStringLiteral("lost");
        rig->store->insert(a);
        rig->store->insert(b);
        for (const auto &[raw, t] : QList<QPair<QString, double>>{{"Me", 1.9}, {"Them", 2.0}, {"Anna", 62.5}, {"", 70.0}}) {
            TranscriptSegment s(QStringLiteral("said by ") + raw, Speaker::me(), t);
            s.speakerRaw = raw;
            s.meetingId = a.id;
            rig->store->insert(s);
        }
        ChatMessage question(ChatRole::User, QStringLiteral("q"), std::nullopt);
        question.meetingId = a.id;
        rig->store->insert(question);
        rig->state->startUp(*rig->store);
        rig->archiver->waitForIdle();
        const auto everyFile = [&] {
            QByteArray all;
            for (const QString &f : rig->files())
                all += f.toUtf8() + fileBytes(rig->path(f));
            return all;
        };
        const QByteArray written = everyFile();

        rig = std::make_unique<ArchiveRig>(folder.path()); // a new, empty store
        rig->state->startUp(*rig->store);
        QCOMPARE(MeetingImporter::runIfNeeded(*rig->store, rig->clock, folder.path()), 2);
        rig->state->refreshRecentMeetings(*rig->store);
        rig->archiver->waitForIdle();
        QCOMPARE(rig->state->recentMeetings().size(), 2);
        const Meeting back = *rig->store->meeting(a.id);
        QCOMPARE(back.title, a.title);
        QCOMPARE(back.date, a.date.addMSecs(-700));
        QCOMPARE(back.duration, 120.0);
        QCOMPARE(back.summary, std::optional<QString>(QStringLiteral("S\n\n## My Notes\n\nN"))); // notes ride along
        QCOMPARE(back.userNotes, QString());
        QCOMPARE(back.calendarEventId, std::nullopt);
        QStringList lines; // times to the second, texts trimmed
        for (const TranscriptSegment &s : rig->store->segments(a.id))
            lines << QStringLiteral("%1 %2 %3").arg(s.speakerRaw).arg(s.timestamp).arg(s.text);
        QCOMPARE(lines, (QStringList{"Me 1 said by Me", "Them 2 said by Them", "Anna 62 said by Anna", "Me 70 said by"}));
        QVERIFY(rig->store->chatMessages(a.id).isEmpty());
        const Meeting untitled = *rig->store->meeting(b.id);
        QCOMPARE(untitled.title, QStringLiteral("Untitled"));
        QCOMPARE(untitled.summary, std::nullopt);
        QCOMPARE(untitled.userNotes, QString());
        QCOMPARE(everyFile(), written); // the index knew them all: nothing rewritten
    }
};

ONDEL_TEST_MAIN(TestStartUp)

#include "tst_startup.moc"
