#include "CustomDictionary.h"
#include "TestEnvironment.h"
#include "TranscriberRig.h"

#include <QRegularExpression>
#include <QTimer>

using namespace std::chrono_literals;
using State = VrelTranscriber::State;
using Reply = TestHttpServer::Reply;

Q_DECLARE_METATYPE(TestHttpServer::Reply)

namespace {

Reply segments(std::initializer_list<const char *> items)
{
    QByteArrayList list(items.begin(), items.end());
    return Reply::json("{\"text\":\"whole text\",\"segments\":[" + list.join(',') + "]}");
}

} // namespace

class TestVrelTranscriber : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void requestBytes_data()
    {
        QTest::addColumn<QString>("language"); // empty: automatic
        QTest::addColumn<QStringList>("words");
        QTest::addColumn<QByteArrayList>("fields"); // "name=value", in order
        const QByteArray model = "model=whisper-v3-turbo", format = "response_format=verbose_json", temperature = "temperature=0";
        QTest::newRow("automatic, no words") << QString() << QStringList() << QByteArrayList{model, format, temperature};
        QTest::newRow("language and words") << "vi" << QStringList{" Acme\n", "Nguyễn", "Acme"}
                                            << QByteArrayList{model, "prompt=Custom vocabulary: Acme, Nguyễn. ", "language=vi", format, temperature};
        QTest::newRow("blank words are none") << "en" << QStringList{" \n"} << QByteArrayList{model, "language=en", format, temperature};
    }
    void requestBytes()
    {
        QFETCH(QString, language);
        QFETCH(QStringList, words);
        QFETCH(QByteArrayList, fields);
        TranscriberRig rig(language.isEmpty() ? std::nullopt : std::optional<QString>(language));
        for (const QString &word : words)
            CustomDictionary::add(rig.settings, word); // after the transcriber was made: read anew for each upload
        rig.server.setHandler([](const TestHttpServer::Request &) { return Reply::json(textJson("ok")); });
        QByteArray pcm;
        for (int i = 0; i < 11; ++i) {
            const QByteArray chunk = toneChunk(i < 4 ? 0.1 : 0.0);
            pcm += chunk;
            rig.transcriber->sendAudio(chunk);
        }
        QVERIFY(rig.drain());

        const TestHttpServer::Request request = rig.server.requests().value(0);
        QCOMPARE(rig.server.requestCount(), 1);
        QCOMPARE(request.method + ' ' + request.target, QByteArray("POST /v1/audio/transcriptions"));
        QCOMPARE(request.header("Authorization") + ' ' + request.header("X-Recording-Id"),
                 QByteArray("Bearer test-key-123 6A1F0C2E-93B4-4D5A-8E7F-0123456789AB"));
        const auto type = QRegularExpression(QStringLiteral("^multipart/form-data; boundary=(ondel-[0-9A-F]{8}(-[0-9A-F]{4}){3}-[0-9A-F]{12})$"))
                              .match(QString::fromLatin1(request.header("Content-Type")));
        QVERIFY2(type.hasMatch(), request.header("Content-Type"));
        const QByteArray b = type.captured(1).toLatin1();
        QByteArray expected;
        for (const QByteArray &f : fields)
            expected += "--" + b + "\r\nContent-Disposition: form-data; name=\"" + f.left(f.indexOf('=')) + "\"\r\n\r\n" + f.mid(f.indexOf('=') + 1) + "\r\n";
        // 11 chunks: 52,800 bytes of 16-bit mono PCM at 24 kHz.
        const QByteArray wavHeader = QByteArray::fromHex("52494646 64ce0000 57415645 666d7420 10000000 0100 0100 c05d0000 80bb0000 0200 1000 64617461 40ce0000");
        expected += "--" + b + "\r\nContent-Disposition: form-data; name=\"file\"; filename=\"utterance.wav\"\r\nContent-Type: audio/wav\r\n\r\n"
            + wavHeader + pcm + "\r\n--" + b + "--\r\n";
        QVERIFY(request.body == expected);
    }

    // One utterance, the same answer to both attempts.
    void answers_data()
    {
        QTest::addColumn<Reply>("reply");
        QTest::addColumn<QString>("line"); // empty: none
        QTest::addColumn<QString>("error"); // empty: none
        QTest::addColumn<QString>("logLine"); // empty: not checked
        const QString no, malformed = QStringLiteral("Malformed transcription response");
        const QByteArray pad(102, 'a');
        QTest::newRow("whole text, trimmed") << Reply::json(R"({"text":"  Hello there \n"})") << "Hello there" << no << no;
        QTest::newRow("a dropped first segment leaves no space")
            << segments({R"({"text":" uh","no_speech_prob":0.9})", R"({"text":" Second."})", R"({"text":"Third."})"}) << "Second. Third." << no
            << "[Ondel] Dropped segment (no_speech_prob 0.90): uh";
        QTest::newRow("no_speech_prob 0.6 stays") << segments({R"({"text":"Kept","no_speech_prob":0.6})"}) << "Kept" << no << no;
        QTest::newRow("no_speech_prob 0.61 goes") << segments({R"({"text":"Gone","no_speech_prob":0.61})", R"({"text":"Kept"})"}) << "Kept"
                                                  << no << "[Ondel] Dropped segment (no_speech_prob 0.61): Gone";
        QTest::newRow("avg_logprob -1.0 stays") << segments({R"({"text":"Kept","avg_logprob":-1.0})"}) << "Kept" << no << no;
        QTest::newRow("avg_logprob -1.01 goes") << segments({R"({"text":"Gone","avg_logprob":-1.01})", R"({"text":"Kept"})"}) << "Kept" << no
                                                << "[Ondel] Dropped segment (avg_logprob -1.01): Gone";
        QTest::newRow("compression 2.4 stays") << segments({R"({"text":"Kept","compression_ratio":2.4})"}) << "Kept" << no << no;
        QTest::newRow("compression 2.41 goes") << segments({R"({"text":"Gone","compression_ratio":2.41})", R"({"text":"Kept"})"}) << "Kept" << no
                                               << "[Ondel] Dropped segment (compression 2.41): Gone";
        QTest::newRow("figures that are no numbers pass") << segments({R"({"text":"Kept","no_speech_prob":"0.9"})"}) << "Kept" << no << no;
        QTest::newRow("a listed phrase takes the segment") << segments({R"({"text":"Thanks for watching, all"})", R"({"text":"Kept"})"})
                                                           << "Kept" << no << "[Ondel] Dropped segment (blocklist): Thanks for watching, all";
        QTest::newRow("all dropped: no line, no error") << segments({R"({"text":"a","no_speech_prob":0.9})", R"({"text":" "})"}) << no << no << no;
        QTest::newRow("empty segments: whole text tested") << Reply::json(R"({"text":"Thank you for watching!","segments":[]})") << no << no << no;
        QTest::newRow("Vietnamese phrase in capitals") << Reply::json(textJson("CẢM ƠN CÁC BẠN ĐÃ THEO DÕI")) << no << no << no;
        QTest::newRow("other segments: whole text") << Reply::json(R"({"text":"Whole","segments":["x"]})") << "Whole" << no << no;
        QTest::newRow("120 characters with a phrase stay") << Reply::json(textJson("please subscribe " + pad + ".")) << QString::fromLatin1("please subscribe " + pad + ".") << no << no;
        QTest::newRow("119 go") << Reply::json(textJson("please subscribe " + pad)) << no << no << no;
        QTest::newRow("429 with a message") << Reply::json(R"({"error":{"message":"Slow down"}})", 429) << no << "Slow down"
                                            << "[Ondel] Vrel transcription failed: Slow down";
        QTest::newRow("402, top-level message") << Reply::json(R"({"message":"Out of minutes"})", 402) << no << "Out of minutes" << no;
        QTest::newRow("201 is a refusal") << Reply::json(textJson("hi"), 201) << no << "HTTP 201" << no;
        QTest::newRow("200 without text") << Reply::json(R"({"segments":[]})") << no << malformed << no;
        QTest::newRow("200 a list") << Reply::json("[1]") << no << malformed << no;
    }
    void answers()
    {
        QFETCH(Reply, reply);
        QFETCH(QString, line);
        QFETCH(QString, error);
        QFETCH(QString, logLine);
        LogRecorder log;
        TranscriberRig rig;
        rig.server.setHandler([reply](const TestHttpServer::Request &) { return reply; });
        rig.speak(4);
        QVERIFY(rig.drain());
        QCOMPARE(rig.linesNow(), line.isEmpty() ? QStringList() : QStringList{line + QStringLiteral("@0.00")});
        QCOMPARE(rig.errorsNow(), error.isEmpty() ? QStringList() : QStringList{error}); // once per lost utterance
        QCOMPARE(rig.server.requestCount(), error.isEmpty() ? 1 : 2);
        QCOMPARE(rig.transcriber->state(), State::Listening);
        if (!logLine.isEmpty())
            QVERIFY2(log.lines().count(logLine) == 1, qPrintable(log.lines().join(QLatin1Char('\n'))));
    }

    // The answer's framing on the wire, the same bytes for both attempts; the uploads keep
    // their own connection, so each form is read here as it comes.
    void answerFraming_data()
    {
        QTest::addColumn<QByteArray>("bytes");
        QTest::addColumn<bool>("thenClose");
        QTest::addColumn<QString>("line"); // empty: none
        QTest::addColumn<QString>("error"); // empty: none
        const QByteArray json = textJson("framed"), unreadable = "The server's answer could not be read";
        QTest::newRow("length") << httpAnswer(json) << false << "framed" << QString();
        QTest::newRow("chunked, trailer")
            << QByteArray("HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\n\r\n5;x=1\r\n" + json.left(5) + "\r\n"
                          + QByteArray::number(json.size() - 5, 16) + "\r\n" + json.mid(5) + "\r\n0\r\nX-Trailer: 1\r\n\r\n")
            << false << "framed" << QString();
        QTest::newRow("until the server closes") << QByteArray("HTTP/1.0 200 OK\r\n\r\n" + json) << true << "framed" << QString();
        QTest::newRow("interim answer first") << QByteArray("HTTP/1.1 100 Continue\r\n\r\n" + httpAnswer(json)) << false << "framed" << QString();
        QTest::newRow("503 in chunks")
            << QByteArray("HTTP/1.1 503 Service Unavailable\r\nTransfer-Encoding: chunked\r\n\r\n3\r\nbad\r\n0\r\n\r\n") << false << QString()
            << "HTTP 503";
        QTest::newRow("closed without an answer") << QByteArray() << true << QString() << "The remote host closed the connection";
        QTest::newRow("cut short") << QByteArray("HTTP/1.1 200 OK\r\nContent-Length: 99\r\n\r\n{") << true << QString()
                                   << "The remote host closed the connection";
        QTest::newRow("not HTTP") << QByteArray("SSH-2.0-OpenSSH\r\n\r\n") << false << QString() << QString::fromLatin1(unreadable);
        QTest::newRow("bad chunk size") << QByteArray("HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\n\r\nzz\r\n") << false << QString()
                                        << QString::fromLatin1(unreadable);
    }
    void answerFraming()
    {
        QFETCH(QByteArray, bytes);
        QFETCH(bool, thenClose);
        QFETCH(QString, line);
        QFETCH(QString, error);
        TranscriberRig rig;
        rig.server.setHandler([](const TestHttpServer::Request &) { return Reply::held(); });
        QObject::connect(&rig.server, &TestHttpServer::requestReceived, &rig.server, [&](int index) {
            // In two pieces, so that the reader has to wait for the rest.
            rig.server.write(index, bytes.left(bytes.size() / 2));
            QTimer::singleShot(20, &rig.server, [&, index] {
                rig.server.write(index, bytes.mid(bytes.size() / 2));
                if (thenClose)
                    rig.server.close(index);
            });
        });
        rig.speak(4);
        QVERIFY(rig.drain());
        QCOMPARE(rig.linesNow(), line.isEmpty() ? QStringList() : QStringList{line + QStringLiteral("@0.00")});
        QCOMPARE(rig.errorsNow(), error.isEmpty() ? QStringList() : QStringList{error});
    }

    // The uploads of a stream share one connection. When the server has dropped it while idle,
    // the next upload goes again on a new one at once, with no failure and no retry pause.
    void keptAliveConnection()
    {
        TranscriberRig rig;
        rig.server.setHandler([](const TestHttpServer::Request &) { return Reply::held(); });
        QObject::connect(&rig.server, &TestHttpServer::requestReceived, &rig.server, [&](int index) {
            if (index == 1)
                rig.server.close(index); // the second request arrives on the first one's connection
            else
                rig.server.write(index, httpAnswer(textJson(index == 0 ? "one" : "two")));
        });
        rig.speak(4);
        QTRY_COMPARE(rig.linesNow().size(), 1);
        rig.speak(5);
        QVERIFY(rig.drain());
        QCOMPARE(rig.linesNow(), (QStringList{"one@0.00", "two@1.10"}));
        QVERIFY(rig.errorsNow().isEmpty());
        QCOMPARE(rig.clock.pauses.load(), 0);
        QCOMPARE(rig.server.requestCount(), 3);
    }

    void serverThatNeverAnswers()
    {
        LogRecorder log;
        TranscriberRig rig;
        rig.server.setHandler([](const TestHttpServer::Request &) { return Reply::held(); });
        rig.speak(4);
        QTRY_COMPARE(rig.server.requestCount(), 1);
        rig.clock.fake.advance(29999ms);
        QCOMPARE(rig.transcriber->state(), State::Transcribing);
        rig.clock.fake.advance(1ms);
        QTRY_COMPARE(rig.clock.pauses.load(), 1);
        QVERIFY(rig.errorsNow().isEmpty() && log.lines().filter(QStringLiteral("failed")).isEmpty()); // the first failure is silent
        rig.clock.fake.advance(800ms);
        QTRY_COMPARE(rig.server.requestCount(), 2);
        rig.clock.fake.advance(30s);
        QTRY_COMPARE(rig.errorsNow(), QStringList{QStringLiteral("The request timed out.")});
        QTRY_VERIFY(rig.transcriber->uploadChain().isFinished());
        QCOMPARE(rig.transcriber->state(), State::Listening);
        QCOMPARE(log.lines().count(QStringLiteral("[Ondel] Vrel transcription failed: The request timed out.")), 1);

        // The same bytes twice, each time with a boundary of its own.
        const auto requests = rig.server.requests();
        const QByteArray first = requests[0].header("Content-Type").split('=').last(), second = requests[1].header("Content-Type").split('=').last();
        QVERIFY(first != second);
        QVERIFY(QByteArray(requests[1].body).replace(second, first) == requests[0].body);
    }

    // Also: a line equal to the one before (case and blanks aside) is dropped, once.
    void uploadsOneAtATimeInOrder()
    {
        LogRecorder log;
        TranscriberRig rig;
        rig.server.setHandler([](const TestHttpServer::Request &) { return Reply::held(); });
        for (int speech = 5; speech <= 8; ++speech)
            rig.speak(speech); // 12 to 15 chunks, from 0.0, 1.2, 2.5 and 3.9
        const QFuture<void> tail = rig.transcriber->uploadChain();
        const QByteArrayList texts = {"Same thing", "  same THING ", "Other words", "Same thing"};
        for (int i = 0; i < 4; ++i) {
            QTRY_COMPARE(rig.server.requestCount(), i + 1);
            QTest::qWait(100); // room for a wrong second upload to show up
            QCOMPARE(rig.server.requestCount(), i + 1);
            QCOMPARE(utteranceChunks(rig.server.requests()[i].body), 12 + i);
            QVERIFY(!tail.isFinished());
            rig.server.write(i, httpAnswer(textJson(texts[i])));
        }
        QTRY_VERIFY(tail.isFinished());
        QCOMPARE(rig.linesNow(), (QStringList{"Same thing@0.00", "Other words@2.50", "Same thing@3.90"}));
        QVERIFY(log.contains(QStringLiteral("[Ondel] Dropped repeated utterance: same THING")));
    }

    void clockAndStates()
    {
        TranscriberRig rig;
        rig.server.setHandler([](const TestHttpServer::Request &) { return Reply::held(); });
        rig.clock.fake.advance(2500ms); // the stream's first chunk comes 2.5 s after the start
        rig.speak(0, 10);
        rig.speak(4);
        QTRY_COMPARE(rig.server.requestCount(), 1);
        rig.transcriber->disconnect(); // during the upload: idle, and it stays so
        rig.server.write(0, httpAnswer(textJson("first")));
        QTRY_COMPARE(rig.linesNow(), QStringList{"first@3.50"});
        QTRY_VERIFY(rig.transcriber->uploadChain().isFinished());
        QCOMPARE(rig.transcriber->state(), State::Idle);
    }

    void queuedUploadOfAGoneTranscriber()
    {
        TranscriberRig rig;
        rig.server.setHandler([](const TestHttpServer::Request &) { return Reply::held(); });
        rig.speak(4);
        QTRY_COMPARE(rig.server.requestCount(), 1);
        rig.speak(5);
        const QFuture<void> tail = rig.transcriber->uploadChain();
        rig.transcriber.reset(); // the upload in flight holds it until it ends; the queued one does not
        rig.server.write(0, httpAnswer(textJson("in flight")));
        QTRY_VERIFY(tail.isFinished());
        QCOMPARE(rig.linesNow(), QStringList{"in flight@0.00"});
        QTest::qWait(100);
        QCOMPARE(rig.server.requestCount(), 1);
    }
};

ONDEL_TEST_MAIN(TestVrelTranscriber)

#include "tst_vreltranscriber.moc"
