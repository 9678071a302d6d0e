#include "AppIdentity.h"
#include "OndelStore.h"
#include "StoreFault.h"
#include "StoreSchema.h"
#include "TestEnvironment.h"
#include "Uuid.h"

#include <QProcess>
#include <QSignalSpy>
#include <QSqlDatabase>
#include <QSqlQuery>
#include <QTemporaryDir>
#include <QTest>

namespace {

QDateTime at(int day, int hour, int minute = 0)
{
    return QDateTime(QDate(2026, 3, day), QTime(hour, minute, 0, 250), Qt::UTC);
}

TranscriptSegment lineIn(const Meeting &m, const QString &raw, double t, const QString &text)
{
    TranscriptSegment s(text, Speaker::fromRawOrMe(raw), t);
    s.speakerRaw = raw;
    s.meetingId = m.id;
    return s;
}

// Runs `sql` behind the store's back; the first value it reads.
QVariant peek(const QString &file, const QString &sql)
{
    QVariant value;
    {
        QSqlDatabase db = QSqlDatabase::addDatabase(QStringLiteral("QSQLITE"), QStringLiteral("peek"));
        db.setDatabaseName(file);
        if (db.open()) {
            QSqlQuery q(db);
            if (q.exec(sql) && q.next())
                value = q.value(0);
        }
    }
    QSqlDatabase::removeDatabase(QStringLiteral("peek"));
    return value;
}

// Rows of a table counted behind the store's back, orphans included.
int rawCount(const QString &file, const QString &table)
{
    const QVariant count = peek(file, QStringLiteral("SELECT COUNT(*) FROM ") + table);
    return count.isValid() ? count.toInt() : -1;
}

} // namespace

class TestOndelStore : public QObject
{
    Q_OBJECT

    QTemporaryDir m_dir;
    std::unique_ptr<OndelStore> m_store;

    QString path() const { return m_dir.filePath(QStringLiteral("Ondel.store")); }

private Q_SLOTS:
    void init()
    {
        QFile::remove(path());
        QString error;
        m_store = OndelStore::open(path(), &error);
        QVERIFY2(m_store, qPrintable(error));
    }
    void cleanup()
    {
        m_store.reset();
        for (const QString &suffix : {QString(), QStringLiteral("-wal"), QStringLiteral("-shm")})
            QFile::remove(path() + suffix);
    }

    void meetingRoundTripsEveryField()
    {
        Folder folder(QStringLiteral("Clients"), QStringLiteral("briefcase"), QStringLiteral("Paying ones"));
        QVERIFY(m_store->insert(folder));

        Meeting m(QStringLiteral("Họp kế hoạch"), at(2, 9));
        m.summary = QStringLiteral("## Summary\n- one");
        m.userNotes = QStringLiteral("ask about budget");
        m.duration = 1834.5;
        m.isRecording = true;
        m.calendarEventId = QStringLiteral("evt-42");
        m.attendeeNames = {QStringLiteral("Anna"), QStringLiteral("Bình \"B\" Trần")};
        m.organizer = QStringLiteral("Anna");
        m.calendarName = QStringLiteral("Work");
        m.scheduledStart = at(2, 9);
        m.scheduledEnd = at(2, 10);
        m.source = QStringLiteral("calendar");
        m.titleIsUserEdited = true;
        m.autoStartEnabled = true;
        m.autoStartFired = true;
        m.linkBannerDismissed = true;
        m.folderId = folder.id;
        QVERIFY(m_store->insert(m));
        QCOMPARE(m_store->meeting(m.id), std::optional<Meeting>(m));

        // And the empty values come back empty, not as "".
        const Meeting bare;
        QVERIFY(m_store->insert(bare));
        const Meeting back = *m_store->meeting(bare.id);
        QVERIFY(!back.summary && !back.organizer && !back.scheduledStart && !back.folderId && !back.calendarEventId);
        QCOMPARE(back, bare);

        // A second store on the same file sees it: the write was committed, and opening the
        // versioned schema again migrates nothing.
        m_store.reset();
        m_store = OndelStore::open(path());
        QCOMPARE(m_store->meeting(m.id), std::optional<Meeting>(m));
    }

    void deleteRules()
    {
        Folder folder(QStringLiteral("Team"), QStringLiteral("folder"), {});
        QVERIFY(m_store->insert(folder));
        Meeting kept(QStringLiteral("kept"), at(3, 9));
        kept.folderId = folder.id;
        Meeting doomed(QStringLiteral("doomed"), at(3, 10));
        doomed.folderId = folder.id;
        QVERIFY(m_store->insert(kept) && m_store->insert(doomed));
        for (const Meeting &m : {kept, doomed}) {
            QVERIFY(m_store->insert(lineIn(m, QStringLiteral("Me"), 1, QStringLiteral("hi"))));
            ChatMessage c(ChatRole::User, QStringLiteral("what was decided?"), std::nullopt);
            c.meetingId = m.id;
            QVERIFY(m_store->insert(c));
        }

        QSignalSpy removed(m_store.get(), &OndelStore::meetingRemoved);
        QVERIFY(m_store->removeMeeting(doomed.id));
        QCOMPARE(removed.count(), 1);
        QVERIFY(!m_store->meeting(doomed.id));
        QCOMPARE(rawCount(path(), QStringLiteral("transcript_segments")), 1);
        QCOMPARE(rawCount(path(), QStringLiteral("chat_messages")), 1);

        QSignalSpy changed(m_store.get(), &OndelStore::meetingChanged);
        QVERIFY(m_store->removeFolder(folder.id));
        QVERIFY(m_store->folders().isEmpty());
        const std::optional<Meeting> survivor = m_store->meeting(kept.id);
        QVERIFY(survivor);
        QVERIFY(!survivor->folderId);
        QCOMPARE(m_store->segments(kept.id).size(), 1);
        QCOMPARE(m_store->chatMessages(kept.id).size(), 1);
        QCOMPARE(changed.count(), 1); // the member's views learn it lost its folder
    }

    void segmentOrderAndWindow()
    {
        Meeting m;
        QVERIFY(m_store->insert(m));
        QSignalSpy added(m_store.get(), &OndelStore::segmentAdded);
        const QList<TranscriptSegment> lines = {
            lineIn(m, QStringLiteral("Them"), 10.0, QStringLiteral("b")),
            lineIn(m, QStringLiteral("Me"), 2.0, QStringLiteral("a")),
            lineIn(m, QStringLiteral("Me"), 10.0, QStringLiteral("c")),
            lineIn(m, QString(QLatin1String("")), 10.0, QStringLiteral("d")),
            lineIn(m, QStringLiteral("Them"), 14.0, QStringLiteral("e")),
        };
        for (const TranscriptSegment &s : lines)
            QVERIFY(m_store->insert(s));
        QCOMPARE(added.count(), lines.size());

        QStringList order;
        for (const TranscriptSegment &s : m_store->segments(m.id))
            order << s.text;
        QCOMPARE(order, (QStringList{"a", "b", "c", "d", "e"})); // equal times keep the order of adding

        QStringList window;
        for (const TranscriptSegment &s : m_store->segmentsBetween(m.id, {QStringLiteral("Me"), QString(QLatin1String(""))}, 6.5, 13.5))
            window << s.text;
        QCOMPARE(window, (QStringList{"c", "d"}));

        QSignalSpy gone(m_store.get(), &OndelStore::segmentRemoved);
        QVERIFY(m_store->removeSegment(lines[2].id));
        QCOMPARE(gone.count(), 1);
        QCOMPARE(gone.first().at(0).toUuid(), m.id);
        QCOMPARE(m_store->segmentCount(m.id), 4);
    }

    void badWritesChangeNothing()
    {
        TranscriptSegment orphan(QStringLiteral("x"), Speaker::me(), 0);
        QVERIFY(!m_store->insert(orphan)); // no meeting named
        orphan.meetingId = QUuid::createUuid();
        QVERIFY(!m_store->insert(orphan)); // a meeting that does not exist
        QVERIFY(!m_store->lastError().isEmpty());
        QCOMPARE(rawCount(path(), QStringLiteral("transcript_segments")), 0);

        Meeting m;
        QVERIFY(m_store->insert(m));
        QVERIFY(!m_store->insert(m)); // same id twice
        QVERIFY(!m_store->save(Meeting())); // never inserted
        QCOMPARE(m_store->meetingCount(), 1);

        // A read that fails is told from an empty answer; a busy store refuses, then takes the write.
        StoreFault fault(path());
        fault.hide(QStringLiteral("transcript_segments"));
        bool ok = true;
        QCOMPARE(m_store->segmentCount(m.id, &ok), 0);
        QVERIFY(!ok);
        fault.hide(QStringLiteral("meetings"));
        for (const auto &read : std::initializer_list<std::function<void()>>{[&] { m_store->meetings({}, &ok); },
                                                                             [&] { m_store->meetingCount({}, &ok); },
                                                                             [&] { m_store->meeting(m.id, &ok); }}) {
            ok = true;
            read();
            QVERIFY(!ok);
        }
        QVERIFY(!m_store->update(m.id, [](Meeting &) {}));
        QVERIFY(m_store->lastError() != QLatin1String("no such meeting"));
        fault.heal();
        QCOMPARE(m_store->segmentCount(m.id, &ok), 0);
        QVERIFY(ok);
        fault.holdWriteLock();
        const Meeting later;
        QVERIFY(!m_store->insert(later));
        fault.heal();
        QVERIFY(m_store->insert(later));
    }

    void bulkLinesLandTogether_data()
    {
        QTest::addColumn<bool>("qtOnly");
        QTest::newRow("through SQLite") << false;
        QTest::newRow("through Qt SQL") << true;
    }
    void bulkLinesLandTogether()
    {
        QFETCH(bool, qtOnly);
        OndelStore::setLineWritesThroughQtOnly(qtOnly);
        m_store = OndelStore::open(path());
        OndelStore::setLineWritesThroughQtOnly(false);
        Meeting m;
        QVERIFY(m_store->insert(m));

        // More lines than one statement holds, most at one time, so only the order of adding sorts them.
        QList<TranscriptSegment> lines;
        for (int i = 0; i < 150; ++i)
            lines << lineIn(m, i % 3 ? QStringLiteral("Them") : QStringLiteral("Anna"), 5.0, QStringLiteral("line %1").arg(i));
        lines[7].text = QStringLiteral("Phở bò, \"quoted\", and a few more words of speech 😀");
        lines[8].text = QString();
        lines[9].speakerRaw = QString(QLatin1String(""));
        lines[10].isFinal = true;
        lines[149].timestamp = 1.25;
        QSignalSpy added(m_store.get(), &OndelStore::segmentAdded);
        QVERIFY2(m_store->insert(lines), qPrintable(m_store->lastError()));
        QCOMPARE(added.count(), lines.size());
        QList<TranscriptSegment> expected = lines;
        expected.move(149, 0);
        QCOMPARE(m_store->segments(m.id), expected);
        QVERIFY(m_store->removeSegment(lines[100].id)); // found by the id's usual text
        QCOMPARE(m_store->segmentCount(m.id), 149);

        // One line that cannot be stored takes the rest of its call with it, and only that.
        QList<TranscriptSegment> more;
        for (int i = 0; i < 100; ++i)
            more << lineIn(m, QStringLiteral("Me"), 20.0 + i, QStringLiteral("more"));
        added.clear();
        more[99].id = lines[0].id;
        QVERIFY(!m_store->insert(more));
        QVERIFY(!m_store->lastError().isEmpty());
        more[99] = lineIn(Meeting(), QStringLiteral("Me"), 0, QStringLiteral("of no stored meeting"));
        Meeting later;
        QVERIFY(m_store->transaction([&] { return m_store->insert(later) && !m_store->insert(more); }));
        QVERIFY(m_store->meeting(later.id));
        more[99].meetingId.reset();
        QVERIFY(!m_store->insert(more));
        QCOMPARE(added.count(), 0);
        QCOMPARE(rawCount(path(), QStringLiteral("transcript_segments")), 149);
    }

    void bulkLoadLeavesTheWal_data()
    {
        QTest::addColumn<bool>("shared");
        QTest::addColumn<QString>("journalDuringLoad");
        QTest::newRow("only connection") << false << "delete";
        QTest::newRow("file open elsewhere") << true << "wal";
    }
    void bulkLoadLeavesTheWal()
    {
        QFETCH(bool, shared);
        QFETCH(QString, journalDuringLoad);
        std::unique_ptr<OndelStore> other = shared ? OndelStore::open(path()) : nullptr;
        Meeting m;
        m_store->bulkLoad([&] {
            QCOMPARE(peek(path(), QStringLiteral("PRAGMA journal_mode")).toString(), journalDuringLoad);
            QVERIFY(m_store->transaction([&] {
                return m_store->insert(m) && m_store->insert(QList{lineIn(m, QStringLiteral("Me"), 1, QStringLiteral("a")),
                                                                   lineIn(m, QStringLiteral("Them"), 2, QStringLiteral("b"))});
            }));
        });
        QCOMPARE(m_store->segmentCount(m.id), 2);
        if (other)
            QCOMPARE(other->segmentCount(m.id), 2);
        other.reset();
        QCOMPARE(peek(path(), QStringLiteral("PRAGMA journal_mode")).toString(), QStringLiteral("wal"));
    }

    void updateKeepsOtherChanges()
    {
        Meeting m(QStringLiteral("Weekly"), at(4, 9));
        QVERIFY(m_store->insert(m));
        // Someone else edits the notes after our copy was taken...
        QVERIFY(m_store->update(m.id, [](Meeting &x) { x.userNotes = QStringLiteral("typed meanwhile"); }));
        // ...and an update of other fields keeps them.
        QVERIFY(m_store->update(m.id, [](Meeting &x) { x.isRecording = true; }));
        const Meeting back = *m_store->meeting(m.id);
        QCOMPARE(back.userNotes, QStringLiteral("typed meanwhile"));
        QVERIFY(back.isRecording);
        QVERIFY(!m_store->update(QUuid::createUuid(), [](Meeting &) {}));
    }

    void queries()
    {
        Folder f(QStringLiteral("F"), QStringLiteral("folder"), {});
        QVERIFY(m_store->insert(f));
        for (int day = 1; day <= 5; ++day) {
            Meeting m(QString::number(day), at(day, 9));
            m.isRecording = day == 3;
            if (day % 2)
                m.folderId = f.id;
            QVERIFY(m_store->insert(m));
        }
        auto titles = [](const QList<Meeting> &list) {
            QStringList t;
            for (const Meeting &m : list)
                t << m.title;
            return t;
        };
        QCOMPARE(titles(m_store->meetings()), (QStringList{"5", "4", "3", "2", "1"}));
        QCOMPARE(titles(m_store->meetings({.newestFirst = false, .limit = 2})), (QStringList{"1", "2"}));
        QCOMPARE(titles(m_store->meetings({.isRecording = true})), (QStringList{"3"}));
        QCOMPARE(titles(m_store->meetings({.folderId = f.id})), (QStringList{"5", "3", "1"}));
        QCOMPARE(titles(m_store->meetings({.withoutFolder = true})), (QStringList{"4", "2"}));
        QCOMPARE(m_store->meetingCount({.isRecording = false}), 4);
    }

    void openFailsClearly_data()
    {
        QTest::addColumn<QByteArray>("contents"); // written to the file first; "dir" makes a folder
        QTest::addColumn<QString>("errorPart");
        QTest::newRow("not a database") << QByteArray("this is not sqlite at all, just text padded out ........") << "not a database";
        QTest::newRow("a folder") << QByteArray("dir") << "";
        QTest::newRow("newer schema") << QByteArray("newer") << "newer version of Ondel";
    }
    void openFailsClearly()
    {
        QFETCH(QByteArray, contents);
        QFETCH(QString, errorPart);
        m_store.reset();
        cleanup();
        const QString file = m_dir.filePath(QStringLiteral("odd.store"));
        if (contents == "dir") {
            QVERIFY(QDir().mkpath(file));
        } else if (contents == "newer") {
            QVERIFY(OndelStore::open(file)->insert(Meeting(QStringLiteral("from the future"), at(1, 1))));
            peek(file, QStringLiteral("PRAGMA user_version = %1").arg(StoreSchema::latestVersion() + 1));
            QCOMPARE(peek(file, QStringLiteral("PRAGMA user_version")).toInt(), StoreSchema::latestVersion() + 1);
        } else {
            putFile(file, contents);
        }

        QString error;
        QVERIFY(!OndelStore::open(file, &error));
        QVERIFY(!error.isEmpty());
        if (!errorPart.isEmpty())
            QVERIFY2(error.contains(errorPart), qPrintable(error));

        if (contents == "newer")
            QCOMPARE(rawCount(file, QStringLiteral("meetings")), 1); // nothing was touched
        else if (contents != "dir")
            QCOMPARE(fileBytes(file), contents);
        QDir(file).removeRecursively();
        QFile::remove(file);
    }

    void storeFolderFollowsIdentifier_data()
    {
        QTest::addColumn<QString>("identifier");
        QTest::addColumn<QString>("container");
        QTest::newRow("release") << "com.tarnwyk.ondel" << "Ondel";
        QTest::newRow("developer") << "com.tarnwyk.ondel.dev" << "Ondel-Dev";
        QTest::newRow("tests") << "com.tarnwyk.ondel.test" << "Ondel-Test";
        QTest::newRow("suffix must be whole") << "com.tarnwyk.ondel.devtools" << "Ondel";
    }
    void storeFolderFollowsIdentifier()
    {
        QFETCH(QString, identifier);
        QFETCH(QString, container);
        const QString saved = AppIdentity::bundleIdentifier();
        AppIdentity::setBundleIdentifier(identifier);
        const QString dataHome = qEnvironmentVariable("XDG_DATA_HOME");
        QCOMPARE(OndelStore::defaultFilePath(), dataHome + QLatin1Char('/') + container + QStringLiteral("/Ondel.store"));
        // A relative XDG value is ignored, as the XDG rules say.
        qputenv("XDG_DATA_HOME", "relative/path");
        QCOMPARE(OndelStore::defaultFilePath(), QDir::homePath() + QStringLiteral("/.local/share/") + container + QStringLiteral("/Ondel.store"));
        qputenv("XDG_DATA_HOME", dataHome.toUtf8());
        AppIdentity::setBundleIdentifier(saved);
    }

    void unopenableStoreEndsTheProcess()
    {
        // The data folder is a plain file, so the store's folder cannot exist.
        const QString blocker = m_dir.filePath(QStringLiteral("not-a-folder"));
        putFile(blocker, {});
        QProcess child;
        QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
        env.insert(QStringLiteral("ONDEL_TEST_OPEN_SHARED_STORE"), QStringLiteral("1"));
        env.insert(QStringLiteral("XDG_DATA_HOME"), blocker);
        child.setProcessEnvironment(env);
        child.start(QCoreApplication::applicationFilePath(), {});
        QVERIFY(child.waitForFinished(30000));
        QCOMPARE(child.exitCode(), 1);
        const QString err = QString::fromUtf8(child.readAllStandardError()).trimmed();
        QVERIFY2(err.startsWith(QStringLiteral("Failed to open Ondel store: ")), qPrintable(err));
        QVERIFY2(!err.contains(QLatin1Char('\n')), qPrintable(err)); // and nothing else
    }
};

int main(int argc, char **argv)
{
    if (qEnvironmentVariableIsSet("ONDEL_TEST_OPEN_SHARED_STORE")) {
        QCoreApplication app(argc, argv);
        AppIdentity::setBundleIdentifier(QStringLiteral("com.tarnwyk.ondel.test"));
        OndelStore::shared();
        return 0;
    }
    TestEnvironment environment;
    QCoreApplication app(argc, argv);
    OndelStore::setBusyTimeout(100); // a busy case waits this long
    TestOndelStore test;
    return QTest::qExec(&test, argc, argv);
}

#include "tst_ondelstore.moc"
