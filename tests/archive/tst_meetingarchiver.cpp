#include "ArchiveRig.h"
#include "ArchiveWriter.h"
#include "StoreFault.h"
#include "TestEnvironment.h"

class TestMeetingArchiver : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void writesThenMovesOnRenameAndNewDate()
    {
        ArchiveRig rig;
        QCOMPARE(rig.archiver->root(), QDir::homePath() + QStringLiteral("/OndelNotes-Test"));
        const QUuid id = rig.add(QStringLiteral("Weekly sync"), kMonday, 3);
        rig.store->update(id, [](Meeting &m) { m.summary = QStringLiteral("S"); });
        rig.archiveNow(id);
        const QString rel = QStringLiteral("2026/2026-01-05-0930-weekly-sync.md");
        QCOMPARE(rig.files(), QStringList{rel});
        QVERIFY(fileBytes(rig.path(rel)).contains("[00:08] **Speaker A:** line 2\n[00:09] **Speaker B:** line 1\n"));
        QCOMPARE(rig.index().entry(uuidText(id)), std::optional(ArchiveIndex::Entry{QStringLiteral("Weekly sync"), kMonday, 2, rel, true}));
        { // lines that cannot be read are not "no lines": the file keeps them
            StoreFault fault(rig.store->filePath());
            fault.hide(QStringLiteral("transcript_segments"));
            rig.archiveNow(id);
            QVERIFY(fileBytes(rig.path(rel)).contains("**Speaker A:** line 2"));
        }

        rig.store->update(id, [](Meeting &m) { m.title = QStringLiteral("Budget"); });
        rig.archiver->archive(id);
        rig.store->update(id, [](Meeting &m) { m.date = m.date.addYears(-1); });
        rig.archiveNow(id);
        QCOMPARE(rig.files(), QStringList{QStringLiteral("2025/2025-01-05-0930-budget.md")});
        QCOMPARE(rig.entryPath(id), rig.files().first());
        QCOMPARE(rig.index().size(), 1);
    }

    void sameMinuteAndSlugShareOneFile()
    {
        ArchiveRig rig;
        const QUuid a = rig.add(QStringLiteral("Standup"));
        const QUuid b = rig.add(QStringLiteral("Standup!"), kMonday.addSecs(20));
        rig.archiver->archive(a);
        rig.archiveNow(b);
        const QString rel = QStringLiteral("2026/2026-01-05-0930-standup.md");
        QCOMPARE(rig.files(), QStringList{rel});
        QVERIFY(fileBytes(rig.path(rel)).contains(uuidText(b).toLatin1()));
        QCOMPARE(rig.entryPath(a), rel);
        QCOMPARE(rig.entryPath(b), rel);
        rig.state->deleteMeeting(*rig.store, a);
        rig.archiver->waitForIdle();
        QVERIFY(rig.files().isEmpty());
        QCOMPARE(rig.index().size(), 1);
    }

    void filesOndelDidNotWriteAreNeverTouched()
    {
        ArchiveRig rig;
        const QStringList strangers{"2026/2026-01-05-0930-weekly-sync.md", "2026/mine.md", "notes.txt", ".hidden", "other/x.md"};
        for (const QString &s : strangers)
            putFile(rig.path(s), "the user's own " + s.toUtf8());
        const QUuid id = rig.add(QStringLiteral("Weekly sync"));
        rig.archiveNow(id);
        QCOMPARE(rig.entryPath(id), QStringLiteral("2026/2026-01-05-0930-weekly-sync-2.md"));

        // An entry edited to point at someone else's file does not get that file deleted.
        ArchiveIndex forged = rig.index();
        const QUuid intruder = QUuid::createUuid();
        forged.set(uuidText(intruder), {QStringLiteral("x"), kMonday, 0, QStringLiteral("2026/mine.md"), false});
        forged.write(rig.path(QStringLiteral("index.json")), kMonday);
        rig.archiver->remove(intruder);
        rig.archiver->remove(id);
        rig.archiver->waitForIdle();
        QVERIFY(rig.index().isEmpty());
        QCOMPARE(rig.files().size(), 2);
        for (const QString &s : strangers)
            QCOMPARE(fileBytes(rig.path(s)), "the user's own " + s.toUtf8());
    }

    // An editor's save (a byte-order mark, CRLF line ends) leaves the file the meeting's own: the
    // next write replaces it and a deletion takes it. The same save of another's file does not.
    void filesSavedAgainByAnEditor_data()
    {
        QTest::addColumn<QByteArray>("bom");
        QTest::addColumn<bool>("crlf");
        QTest::addColumn<bool>("stranger");
        const QByteArray bom("\xEF\xBB\xBF");
        QTest::newRow("CRLF") << QByteArray() << true << false;
        QTest::newRow("byte-order mark") << bom << false << false;
        QTest::newRow("both") << bom << true << false;
        QTest::newRow("another meeting's file, both") << bom << true << true;
    }
    void filesSavedAgainByAnEditor()
    {
        QFETCH(QByteArray, bom);
        QFETCH(bool, crlf);
        QFETCH(bool, stranger);
        ArchiveRig rig;
        const QUuid id = rig.add(QStringLiteral("Weekly sync"));
        rig.archiveNow(id);
        const QString rel = QStringLiteral("2026/2026-01-05-0930-weekly-sync.md");
        QByteArray saved = fileBytes(rig.path(rel));
        if (stranger)
            saved.replace(uuidText(id).toLatin1(), uuidText(QUuid::createUuid()).toLatin1());
        if (crlf)
            saved.replace("\n", "\r\n");
        putFile(rig.path(rel), bom + saved);
        rig.archiveNow(id);
        const QString second = QStringLiteral("2026/2026-01-05-0930-weekly-sync-2.md");
        QCOMPARE(rig.files(), stranger ? QStringList({second, rel}) : QStringList{rel});
        QCOMPARE(rig.entryPath(id), stranger ? second : rel);
        rig.archiver->remove(id);
        rig.archiver->waitForIdle();
        QCOMPARE(rig.files(), stranger ? QStringList{rel} : QStringList());
        if (stranger)
            QCOMPARE(fileBytes(rig.path(rel)), bom + saved);
    }

    void damagedIndexCostsNoFile_data()
    {
        QTest::addColumn<QByteArray>("damage");
        const QByteArray entry = R"({"K": {"title": "t", "durationMinutes": 1, "hasSummary": false, "date": "2026-01-05T09:30:00Z", )";
        QTest::newRow("garbage, kept aside") << QByteArray("{\"not\": json");
        QTest::newRow("empty") << QByteArray();
        QTest::newRow("an entry missing a field") << QByteArray(R"({"K": {"title": "t"}})");
        QTest::newRow("a path that climbs out") << entry + R"("path": "2026/../../x.md"}})";
        QTest::newRow("an absolute path") << entry + R"("path": "/etc/x.md"}})";
    }
    void damagedIndexCostsNoFile()
    {
        QFETCH(QByteArray, damage);
        ArchiveRig rig;
        const QList<QUuid> ids{rig.add(QStringLiteral("A")), rig.add(QStringLiteral("B"))};
        rig.backfillNow(ids);
        putFile(rig.path(QStringLiteral("index.json")), damage);
        rig.archiveNow(ids.first());
        QCOMPARE(rig.index().size(), 1);
        QCOMPARE(rig.files().size(), 2);
        const QStringList aside = QDir(rig.archiver->root()).entryList({QStringLiteral("index.json.broken-*")});
        QCOMPARE(aside.isEmpty() ? QByteArray() : fileBytes(rig.path(aside.first())), damage);
        rig.backfillNow(ids); // the next launch enters the other again
        QCOMPARE(rig.index().size(), 2);
    }

    void backfillWritesOnlyWhatTheIndexLacks()
    {
        ArchiveRig rig;
        const QUuid known = rig.add(QStringLiteral("Known"));
        rig.archiveNow(known);
        QFile::remove(rig.path(rig.entryPath(known))); // by hand: stays gone while its entry stands

        QList<QUuid> ids{known};
        for (int i = 0; i <= MeetingArchiver::backfillBatch; ++i)
            ids << rig.add(QStringLiteral("M%1").arg(i), kMonday.addDays(i));
        rig.archiver->backfill(ids);
        rig.store->removeMeeting(ids.last()); // before its batch is snapshotted
        rig.store->update(ids.at(1), [](Meeting &m) { m.title = QStringLiteral("Renamed"); });
        rig.archiveNow(ids.at(1)); // after the backfill, so it wins
        QCOMPARE(rig.index().size(), ids.size() - 1);
        QCOMPARE(rig.files().size(), ids.size() - 2);
        QCOMPARE(rig.entryPath(ids.at(1)), QStringLiteral("2026/2026-01-05-0930-renamed.md"));
    }

    // A quit during a backfill waits only for the writes asked for before it; the next start
    // backfills what is missing.
    void stopLeavesTheBackfillToTheNextStart()
    {
        ArchiveRig rig;
        QList<QUuid> ids;
        for (int i = 0; i < 2 * MeetingArchiver::backfillBatch; ++i)
            ids << rig.add(QStringLiteral("M%1").arg(i), kMonday.addDays(i));
        rig.archiver->archive(ids.first());
        rig.archiver->backfill(ids);
        rig.archiver->stop(std::chrono::seconds(30));
        QCOMPARE(rig.files(), QStringList{rig.entryPath(ids.first())});

        rig.archiver = std::make_unique<MeetingArchiver>(*rig.store, rig.clock, rig.archiver->root(), QTimeZone::utc());
        rig.backfillNow(ids);
        QCOMPARE(rig.files().size(), ids.size());
    }

    // Between the batches of one backfill the index waits in memory: whatever runs in between
    // starts from it, and the batches' entries are neither lost nor left naming a removed file.
    void workBetweenBackfillBatches_data()
    {
        QTest::addColumn<bool>("removal");
        QTest::newRow("an archive") << false;
        QTest::newRow("a removal") << true;
    }
    void workBetweenBackfillBatches()
    {
        QFETCH(bool, removal);
        ArchiveRig rig;
        ArchiveWriter writer(ArchivePaths(rig.archiver->root(), QTimeZone::utc()), &rig.clock);
        auto snapshot = [&](const QString &title, int day) { return *ArchiveSnapshot::take(*rig.store, rig.add(title, kMonday.addDays(day))); };
        const ArchiveSnapshot first = snapshot(QStringLiteral("First"), 0);
        const ArchiveSnapshot second = snapshot(QStringLiteral("Second"), 1);
        const ArchiveSnapshot between = snapshot(QStringLiteral("Between"), 2);

        writer.backfill({first}, true);
        if (removal)
            writer.remove(first.id);
        else
            writer.archive(between);
        writer.backfill({second}, false);

        QStringList indexed;
        for (const ArchiveSnapshot &s : {first, second, between})
            if (rig.index().contains(uuidText(s.id)))
                indexed << s.title;
        QCOMPARE(indexed.join(QLatin1Char(' ')), removal ? QStringLiteral("Second") : QStringLiteral("First Second Between"));
        QCOMPARE(rig.files().size(), indexed.size()); // no stray file, and no partial one
    }

    void failedWritesKeepStateAndRecordingGoesOn()
    {
        ArchiveRig rig;
        LogRecorder log;
        const QUuid id = rig.add(QStringLiteral("Plan"));
        rig.archiver->archive(id);
        putFile(rig.path(QStringLiteral("2025")), "a file where the year folder would go");
        rig.store->update(id, [](Meeting &m) { m.date = m.date.addYears(-1); });
        rig.archiveNow(id);
        QCOMPARE(rig.files(), QStringList{QStringLiteral("2026/2026-01-05-0930-plan.md")});
        QCOMPARE(rig.entryPath(id), rig.files().first());
        QCOMPARE(log.lines(), QStringList{QStringLiteral("[Ondel] Archive failed for %1: could not create the folder %2")
                                              .arg(uuidText(id), rig.path(QStringLiteral("2025")))});

        // No archive folder can be made at all: the recording still finishes, with one line.
        QDir(rig.archiver->root()).removeRecursively();
        putFile(rig.archiver->root(), "not a folder");
        log.clear();
        TranscriptionSession &session = rig.state->session();
        session.startRecording(rig.store.get());
        const QUuid recorded = *session.meetingID();
        rig.transcribers.last()->completeLine(QStringLiteral("still recording"), 1.0);
        session.stopRecording();
        settle();
        rig.archiver->waitForIdle();
        QCOMPARE(session.error(), QString());
        QCOMPARE(rig.store->segments(recorded).size(), 1);
        QVERIFY(!rig.store->meeting(recorded)->isRecording);
        QCOMPARE(log.lines().filter(QStringLiteral("Archive failed")).size(), 1);
        QCOMPARE(fileBytes(rig.archiver->root()), QByteArray("not a folder"));
    }
};

ONDEL_TEST_MAIN(TestMeetingArchiver)

#include "tst_meetingarchiver.moc"
