#include "EndToEndRig.h"
#include "PulseServer.h"
#include "SecretServiceFixture.h"
#include "TestEnvironment.h"
#include "TestHttpServer.h"
#include "UtteranceSpool.h"
#include "WavFile.h"

#include <QDir>
#include <QFile>
#include <QJsonArray>
#include <QJsonObject>
#include <QTemporaryDir>
#include <QTest>

#include <QtEndian>

#include <cmath>
#include <csignal>

namespace {

const QString kThem = QStringLiteral("the weather is lovely today and we should plan the project review");
const QString kMe = QStringLiteral("please send me the budget numbers before friday afternoon");
const QString kBoth = QStringLiteral("we agreed to move the launch date to next month and to hire two more engineers for the mobile team");

using Run = CliRun;

QJsonObject show(const QString &id)
{
    return cliJson({"show", id, "--json"}).object();
}

QJsonArray linesOf(const QString &id)
{
    return show(id)["lines"].toArray();
}

QJsonArray meetings()
{
    return cliJson({"meetings", "--json"}).array();
}

} // namespace

class TestEndToEnd : public QObject
{
    Q_OBJECT

    std::unique_ptr<SecretServiceFixture> m_keyring;
    QProcess m_stt;
    QTemporaryDir m_dir;
    QString m_sttUrl;

    QString speech(const QString &name, const QString &text, const QString &voice = QStringLiteral("slt"))
    {
        return speechFile(m_dir.filePath(name + QStringLiteral(".wav")), text, voice);
    }

private Q_SLOTS:
    void initTestCase()
    {
        m_keyring = std::make_unique<SecretServiceFixture>();
        QVERIFY2(m_keyring->error().isEmpty(), qPrintable(m_keyring->error()));

        const int port = startServer(m_stt, QStringLiteral(ONDEL_STT_SERVER), m_dir.filePath(QStringLiteral("stt.log")));
        QVERIFY(port > 0);
        m_sttUrl = QStringLiteral("http://127.0.0.1:%1/").arg(port);
        QVERIFY(configure("vrelDirectBase", m_sttUrl));
        const Run key = cli({"key", "set"}, "sk-end-to-end-test\n");
        QVERIFY2(key.code == 0, qPrintable(key.err));
    }

    void cleanupTestCase()
    {
        stopProcess(m_stt);
        m_keyring.reset();
    }

    void recordsBothStreamsApart()
    {
        PulseServer pulse;
        const QString why = pulse.start();
        QVERIFY2(why.isEmpty(), qPrintable(why));
        const QString them = speech("them", kThem), me = speech("me", kMe, "awb"), both = speech("both", kBoth);

        QProcess record;
        record.start(QStringLiteral(ONDEL_CLI_PATH), {"record", "--seconds", "120"});
        QVERIFY(record.waitForStarted(10000));
        QTest::qWait(1500); // the recorders are up

        // A pause after each sentence, longer than the silence that ends an utterance.
        QVERIFY(pulse.play(them, "speakers"));
        QTest::qWait(1200);
        QVERIFY(pulse.play(me, "mic_feed"));
        QTest::qWait(1200);
        // The same sentence on both streams at once, as from loudspeakers into the microphone.
        QProcess toMic;
        toMic.start(QStringLiteral("paplay"), {"--device=mic_feed", both});
        QVERIFY(pulse.play(both, "speakers"));
        QVERIFY(toMic.waitForFinished(60000));
        QTest::qWait(1500); // the last utterance's trailing silence

        ::kill(pid_t(record.processId()), SIGINT); // as Ctrl-C
        QVERIFY(record.waitForFinished(180000));
        const QString out = QString::fromUtf8(record.readAllStandardOutput());
        QVERIFY2(record.exitCode() == 0, qPrintable(QString::fromUtf8(record.readAllStandardError()) + out));
        const QString id = out.trimmed().split(QLatin1Char('\n')).last();

        const QJsonArray lines = linesOf(id);
        QVERIFY2(!lines.isEmpty(), qPrintable(out));
        double themScore = 0, meScore = 0, themAt = -1, meAt = -1;
        int bothAsThem = 0, bothAsMe = 0;
        for (const QJsonValue &line : lines) {
            const QString speaker = line["speaker"].toString(), text = line["text"].toString();
            const double at = line["timestamp"].toDouble();
            if (speaker == QLatin1String("Them") && wordsFound(kThem, text) > themScore) {
                themScore = wordsFound(kThem, text);
                themAt = at;
            }
            if (speaker == QLatin1String("Me") && wordsFound(kMe, text) > meScore) {
                meScore = wordsFound(kMe, text);
                meAt = at;
            }
            if (wordsFound(kBoth, text) > 0.6)
                ++(speaker == QLatin1String("Them") ? bothAsThem : bothAsMe);
        }
        QVERIFY2(themScore >= 0.7, qPrintable(out));
        QVERIFY2(meScore >= 0.7, qPrintable(out));
        // Offsets on one time axis: the far side spoke first, then the user.
        QVERIFY2(themAt > 0.5 && themAt < meAt && meAt < 60, qPrintable(out));
        QVERIFY2(bothAsThem == 1 && bothAsMe == 0, qPrintable(out)); // the microphone's copy was the echo

        // The notes came from the local model, and questions stream back and are kept.
        QCOMPARE(show(id)["title"].toString(), QStringLiteral("Project Review Planning"));
        QVERIFY(show(id)["summary"].toString().startsWith(QStringLiteral("## Summary")));
        const Run ask = cli({"ask", id, "What was decided?"});
        QVERIFY2(ask.code == 0, qPrintable(ask.err));
        QCOMPARE(ask.out.trimmed(), QStringLiteral("The answer is in the transcript."));
        const Run notes = cli({"notes", id});
        QVERIFY2(notes.code == 0, qPrintable(notes.err));
        QVERIFY(notes.out.startsWith(QStringLiteral("Project Review Planning")));
        QCOMPARE(show(id)["chat"].toArray().size(), 2);
    }

    // ondel-cli killed with its uploads in flight loses no closed utterance: the next run sends
    // the audio it left in the spool, and each part lands at its place in its meeting.
    void aKillDuringUploadsLosesNoPart()
    {
        // Tones of 0.6, 0.8 and 1.0 s, each followed by a second of silence: three parts, of
        // 13, 15 and 17 chunks, from 0.0, 1.6 and 3.4 s. The server names each by its length.
        QByteArray pcm;
        for (const int tenths : {6, 8, 10}) {
            for (int i = 0; i < tenths * 2400; ++i) {
                const qint16 sample = qint16(6000 * std::sin(i * 0.0785));
                pcm.append(reinterpret_cast<const char *>(&sample), 2);
            }
            pcm.append(QByteArray(48000, '\0'));
        }
        const QString parts = m_dir.filePath(QStringLiteral("parts.wav")), after = m_dir.filePath(QStringLiteral("after.wav"));
        for (const auto &[path, bytes] : {std::pair{parts, pcm}, std::pair{after, pcm.left(6 * 4800) + QByteArray(48000, '\0')}}) {
            QFile file(path);
            QVERIFY(file.open(QIODevice::WriteOnly) && file.write(WavFile::mono16(bytes, 24000)) > 0);
        }
        TestHttpServer server;
        server.setHandler([](const TestHttpServer::Request &) { return TestHttpServer::Reply::held(); });
        QVERIFY(configure("vrelDirectBase", server.url().toString()));
        const QDir spool(UtteranceSpool::defaultRoot());
        const auto spooled = [&] {
            int n = 0;
            for (const QString &meeting : spool.entryList(QDir::Dirs | QDir::NoDotAndDotDot))
                n += int(QDir(spool.filePath(meeting)).entryList({QStringLiteral("*.wav")}, QDir::Files).size());
            return n;
        };
        const auto run = [&](QProcess &process, const QString &file, const QString &title) {
            process.start(QStringLiteral(ONDEL_CLI_PATH), {"transcribe", file, "--title", title});
            return process.waitForStarted(10000);
        };

        QProcess killed;
        QVERIFY(run(killed, parts, "Killed"));
        QVERIFY(QTest::qWaitFor([&] { return server.requestCount() == 1 && spooled() == 3; }, 60000));
        ::kill(pid_t(killed.processId()), SIGKILL);
        QVERIFY(killed.waitForFinished(10000));

        server.setHandler([](const TestHttpServer::Request &request) {
            if (request.target.endsWith("/chat/completions")) // the notes
                return TestHttpServer::Reply::json(R"({"choices":[{"message":{"role":"assistant","content":"## Summary\n- parts"}}]})");
            const int chunks = int(qFromLittleEndian<quint32>(request.body.constData() + request.body.indexOf("RIFF") + 40) / 4800);
            return TestHttpServer::Reply::json("{\"text\":\"Part " + QByteArray::number(chunks) + "\"}");
        });
        QProcess next;
        QVERIFY(run(next, after, "After"));
        QVERIFY(QTest::qWaitFor([&] { return next.state() == QProcess::NotRunning; }, 120000));
        QVERIFY2(next.exitCode() == 0, next.readAllStandardError().constData());
        QCOMPARE(spooled(), 0);

        QString killedId;
        for (const QJsonValue &m : meetings())
            if (m["title"].toString() == QLatin1String("Killed"))
                killedId = m["id"].toString();
        // Offsets from the first part's: the stream's own start is a few milliseconds of wall clock.
        QStringList lines;
        const QJsonArray found = linesOf(killedId);
        for (const QJsonValue &line : found)
            lines << QStringLiteral("%1@%2: %3").arg(line["speaker"].toString())
                         .arg(line["timestamp"].toDouble() - found.first()["timestamp"].toDouble(), 0, 'f', 1)
                         .arg(line["text"].toString());
        QCOMPARE(lines, (QStringList{"Me@0.0: Part 13", "Me@1.6: Part 15", "Me@3.4: Part 17"}));
        QVERIFY(configure("vrelDirectBase", m_sttUrl));
    }

    void transcribesFilesOfEveryFormat_data()
    {
        QTest::addColumn<QString>("extension");
        QTest::newRow("wav") << "wav";
        QTest::newRow("flac") << "flac";
        QTest::newRow("ogg") << "ogg";
        QTest::newRow("mp3") << "mp3";
    }
    void transcribesFilesOfEveryFormat()
    {
        QFETCH(QString, extension);
        const QString wav = speech("file", kMe), file = m_dir.filePath("file." + extension);
        if (extension != QLatin1String("wav")) {
            QProcess sox;
            sox.start(QStringLiteral("sox"), {wav, "-r", "44100", "-c", "2", file});
            QVERIFY(sox.waitForFinished(60000) && sox.exitCode() == 0);
        }
        const QString title = "From a " + extension + " file";
        const Run run = cli({"transcribe", file, "--speaker", "them", "--title", title});
        QVERIFY2(run.code == 0, qPrintable(run.err));
        const QJsonObject meeting = show(run.out.trimmed().split(QLatin1Char('\n')).last());
        const QJsonArray lines = meeting["lines"].toArray();
        QCOMPARE(lines.size(), 1);
        QCOMPARE(lines[0]["speaker"].toString(), QStringLiteral("Them"));
        QVERIFY(wordsFound(kMe, lines[0]["text"].toString()) >= 0.7);
        QVERIFY(lines[0]["timestamp"].toDouble() < 1.0); // the position in the file
        QCOMPARE(meeting["title"].toString(), title);
        QVERIFY(meeting["duration"].toDouble() > 2.0); // the file's length
    }

    // Runs after the recordings above: the archive holds them all.
    void rebuildsALostStoreFromTheArchive()
    {
        auto everything = [] {
            QJsonArray all;
            for (const QJsonValue &m : meetings()) {
                QJsonObject full = show(m["id"].toString());
                // What the archive does not keep, and what it keeps coarser: whole seconds of the
                // date and of each line's start, whole minutes of the duration.
                for (const char *lost : {"chat", "source", "folder", "isRecording", "hasNotes"})
                    full.remove(QLatin1String(lost));
                full["date"] = full["date"].toString().left(19);
                full["duration"] = int(full["duration"].toDouble() / 60);
                QJsonArray lines;
                for (const QJsonValue &line : full["lines"].toArray()) {
                    QJsonObject l = line.toObject();
                    l["timestamp"] = int(l["timestamp"].toDouble());
                    lines.append(l);
                }
                full["lines"] = lines;
                all.append(full);
            }
            return all;
        };
        const QJsonArray before = everything();
        QVERIFY(before.size() >= 2);

        const QString data = QString::fromUtf8(qgetenv("XDG_DATA_HOME")) + QStringLiteral("/Ondel-Test/");
        for (const char *file : {"Ondel.store", "Ondel.store-wal", "Ondel.store-shm"})
            QFile::remove(data + QLatin1String(file));
        // A test build writes its archive apart, and recovers from the release folder as every build does.
        const QString home = QString::fromUtf8(qgetenv("HOME"));
        QVERIFY(QDir(home).rename("OndelNotes-Test", "OndelNotes"));

        // Meetings recorded within one second tie on their restored dates: match them by id.
        const QJsonArray after = everything();
        QCOMPARE(after.size(), before.size());
        QHash<QString, QJsonObject> restored;
        for (const QJsonValue &m : after)
            restored.insert(m["id"].toString(), m.toObject());
        for (const QJsonValue &m : before) {
            const QJsonObject b = m.toObject(), a = restored.value(b["id"].toString());
            for (const QString &key : b.keys()) {
                const QByteArray both = QJsonDocument(QJsonArray{a[key], b[key]}).toJson(QJsonDocument::Compact);
                QVERIFY2(a[key] == b[key], qPrintable(key + ": " + both));
            }
        }
    }

    void failures_data()
    {
        QTest::addColumn<QStringList>("arguments");
        QTest::addColumn<QString>("setup");
        QTest::addColumn<QString>("message");
        QTest::newRow("not a sound file") << QStringList{"transcribe", "NOTAUDIO"} << "garbage" << "Cannot read";
        QTest::newRow("no such file") << QStringList{"transcribe", "/nonexistent/x.wav"} << "" << "No such file";
        QTest::newRow("no sound server") << QStringList{"record", "--seconds", "2"} << "no pulse" << "No microphone found";
        QTest::newRow("recogniser down") << QStringList{"transcribe", "SPEECH"} << "stt down" << "Connection refused";
    }
    void failures()
    {
        QFETCH(QStringList, arguments);
        QFETCH(QString, setup);
        QFETCH(QString, message);
        const qsizetype before = meetings().size();
        if (setup == QLatin1String("garbage")) {
            QFile junk(m_dir.filePath(QStringLiteral("junk.wav")));
            QVERIFY(junk.open(QIODevice::WriteOnly) && junk.write("RIFF this is not really a wave file at all") > 0);
            arguments.replace(1, junk.fileName());
        }
        if (setup == QLatin1String("no pulse"))
            qputenv("PULSE_SERVER", "unix:/nonexistent/pulse/native");
        if (setup == QLatin1String("stt down")) {
            arguments.replace(1, speech("down", kThem));
            QVERIFY(configure("vrelDirectBase", "http://127.0.0.1:9/"));
        }
        const Run run = cli(arguments);
        qunsetenv("PULSE_SERVER");
        configure("vrelDirectBase", m_sttUrl);

        QCOMPARE(run.code, 1);
        QCOMPARE(run.err.trimmed().count(QLatin1Char('\n')), 0);
        QVERIFY2(run.err.contains(message), qPrintable(run.err));
        // A failed upload keeps its meeting, so that the message has a place, and its id is given
        // out; the audio waits in the spool, so no later start purges that meeting as empty.
        const bool kept = setup == QLatin1String("stt down");
        QCOMPARE(!run.out.trimmed().isEmpty(), kept);
        QCOMPARE(meetings().size(), before + (kept ? 1 : 0));
    }
};

int main(int argc, char **argv)
{
    TestEnvironment environment;
    QCoreApplication app(argc, argv);
    TestEndToEnd test;
    return QTest::qExec(&test, argc, argv);
}

#include "tst_endtoend.moc"
