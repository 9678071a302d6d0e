#include "TestEnvironment.h"
#include "UtteranceSpool.h"
#include "Uuid.h"
#include "WavFile.h"

#include <QDir>
#include <QFile>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>

namespace {

// `seconds` of 16-bit mono audio at 24 kHz, as a WAV file.
QByteArray wav(double seconds)
{
    return WavFile::mono16(QByteArray(int(seconds * 24000) * 2, '\x11'), 24000);
}

} // namespace

class TestUtteranceSpool : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void entriesComeBackInTimeOrderAndGoWhenHandled()
    {
        QTemporaryDir dir;
        UtteranceSpool spool(dir.filePath(QStringLiteral("Spool")));
        const QUuid id = QUuid::createUuid();
        QSignalSpy changed(&spool, &UtteranceSpool::changed);
        const auto late = spool.add(id, QStringLiteral("Them"), 12.3456, wav(0.5));
        const auto early = spool.add(id, QStringLiteral("Me"), 1.2, wav(0.4));
        QVERIFY(late && early);
        QCOMPARE(changed.count(), 2);
        QCOMPARE(spool.meetings(), QList<QUuid>{id});
        QCOMPARE(spool.entries(id), (QList<UtteranceSpool::Entry>{*early, *late}));
        QCOMPARE(late->startOffset, 12.346); // to the millisecond, as the name holds it
        QVERIFY(spool.read(*late) == wav(0.5));
        // Audio only: nothing but WAV files under the meeting's folder.
        QCOMPARE(QDir(dir.filePath(QStringLiteral("Spool/")) + uuidText(id)).entryList(QDir::Files).filter(QStringLiteral(".wav")).size(), 2);

        spool.remove(*early);
        spool.remove(*late);
        QVERIFY(!spool.holdsAudio(id));
        QVERIFY(spool.meetings().isEmpty());
        QVERIFY(!QFileInfo::exists(dir.filePath(QStringLiteral("Spool/")) + uuidText(id))); // the emptied folder was swept
        QVERIFY(!spool.read(*late));
    }

    void damagedFilesAreSkipped_data()
    {
        QTest::addColumn<QByteArray>("bytes");
        const QByteArray good = wav(0.2);
        QTest::newRow("empty") << QByteArray();
        QTest::newRow("cut inside the header") << good.left(30);
        QTest::newRow("cut inside the samples") << good.left(good.size() - 100);
        QTest::newRow("not RIFF") << QByteArray(good).replace(0, 4, "JUNK");
        QTest::newRow("stereo") << QByteArray(good).replace(22, 1, "\x02");
        QTest::newRow("8-bit") << QByteArray(good).replace(34, 1, "\x08");
        QTest::newRow("an odd byte more") << good + '\0';
    }
    void damagedFilesAreSkipped()
    {
        QFETCH(QByteArray, bytes);
        QTemporaryDir dir;
        UtteranceSpool spool(dir.path());
        const QUuid id = QUuid::createUuid();
        const auto entry = spool.add(id, QStringLiteral("Me"), 3, wav(0.2));
        putFile(entry->path, bytes);
        LogRecorder log;
        QVERIFY(!spool.read(*entry));
        QCOMPARE(log.lines(), QStringList{QStringLiteral("[Ondel] Skipped a damaged spool file: %1/%2").arg(uuidText(id), QFileInfo(entry->path).fileName())});
        QVERIFY(!spool.holdsAudio(id));
    }

    // A file half written when the process died, and names that are not the spool's, are no entries.
    void strayFilesAreNoEntries()
    {
        QTemporaryDir dir;
        UtteranceSpool spool(dir.path());
        const QUuid id = QUuid::createUuid();
        for (const char *name : {"0000001000-Me-0123abcd.wav.part", "notes.wav", "0000001000-Bob-0123abcd.wav"})
            putFile(dir.filePath(uuidText(id) + QLatin1Char('/') + QLatin1String(name)), {});
        QDir().mkpath(dir.filePath(QStringLiteral("not-a-meeting")));
        QVERIFY(!spool.holdsAudio(id));
        QCOMPARE(spool.meetings(), QList<QUuid>{id});
    }

    // Past a limit the oldest audio goes, each time with a line that says how much; what was
    // just written always stays.
    void limitsDropTheOldestAloud()
    {
        QTemporaryDir dir;
        const qint64 second = wav(1).size();
        UtteranceSpool spool(dir.path(), UtteranceSpool::Limits{3 * second, 5 * second});
        const QUuid a = QUuid::createUuid(), b = QUuid::createUuid();
        LogRecorder log;
        for (int i = 0; i < 4; ++i)
            QVERIFY(spool.add(a, QStringLiteral("Me"), i, wav(1)));
        QCOMPARE(spool.count(a), 3);
        QCOMPARE(spool.entries(a).first().startOffset, 1.0);
        QVERIFY(log.lines().first().startsWith(QStringLiteral("[Ondel] Spool over its per-meeting limit: dropped 1.0 s of audio (0000000000-Me-")));

        log.clear();
        QTest::qWait(20); // a later time of writing than a's files
        for (int i = 0; i < 3; ++i)
            QVERIFY(spool.add(b, QStringLiteral("Them"), i, wav(1)));
        QCOMPARE(spool.count(a) + spool.count(b), 5);
        QCOMPARE(spool.count(b), 3); // a's oldest went
        QCOMPARE(log.lines().size(), 1);
        QVERIFY(log.lines().first().startsWith(QStringLiteral("[Ondel] Spool over its overall limit: dropped 1.0 s of audio (") + uuidText(a)));
        QVERIFY(spool.add(a, QStringLiteral("Me"), 9, wav(6))); // bigger than any limit: kept alone
        QCOMPARE(spool.count(a), 1);
        QCOMPARE(spool.count(b), 0);
    }
};

ONDEL_TEST_MAIN(TestUtteranceSpool)

#include "tst_utterancespool.moc"
