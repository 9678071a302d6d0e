#include "FakeClock.h"
#include "MeetingChatPrompt.h"
#include "MeetingChatService.h"
#include "OndelStore.h"
#include "SessionDoubles.h"
#include "Settings.h"
#include "TestEnvironment.h"
#include "TestHttpServer.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QNetworkAccessManager>
#include <QSignalSpy>
#include <QTcpServer>
#include <QTemporaryDir>
#include <QTest>

using namespace std::chrono_literals;
using Reply = TestHttpServer::Reply;

namespace {

QByteArray sse(const QString &content)
{
    const QJsonObject delta{{QStringLiteral("content"), content}};
    return "data: " + QJsonDocument(QJsonObject{{QStringLiteral("choices"), QJsonArray{QJsonObject{{QStringLiteral("delta"), delta}}}}}).toJson(QJsonDocument::Compact) + "\n\n";
}

struct Rig
{
    TestHttpServer server;
    QTemporaryDir dir;
    std::unique_ptr<OndelStore> store = OndelStore::open(dir.filePath(QStringLiteral("Ondel.store")));
    Settings settings{dir.filePath(QStringLiteral("settings.json"))};
    FakeCredentials credentials;
    FakeClock clock;
    QNetworkAccessManager network;
    MeetingChatService chat{*store, settings, credentials, clock, network};
    QSignalSpy finished{&chat, &MeetingChatService::answerFinished};
    QUuid meetingId;

    Rig()
    {
        credentials.credentials = ModelCredentials{server.url(), QStringLiteral("chat-token"), true};
        server.setHandler([](const auto &) { return Reply::held(); });
        Meeting m(QStringLiteral("Roadmap"), clock.now());
        store->insert(m);
        meetingId = m.id;
        TranscriptSegment s(QStringLiteral("we ship on Friday"), Speaker::them(), 2);
        s.meetingId = m.id;
        store->insert(s);
    }
    void open(int index) { server.writeHead(index, 200, {{"Content-Type", "text/event-stream"}}); }
    // Each turn as "role: text".
    QStringList turns() const
    {
        QStringList out;
        for (const ChatMessage &m : store->chatMessages(meetingId))
            out << m.roleRaw + QStringLiteral(": ") + m.text;
        return out;
    }
};

} // namespace

class TestMeetingChat : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void systemPrompt_data()
    {
        QTest::addColumn<Meeting>("meeting");
        QTest::addColumn<QString>("transcript");
        QTest::addColumn<QStringList>("paragraphs"); // after the opening

        Meeting fresh(QStringLiteral("New Meeting"), QDateTime::currentDateTimeUtc());
        fresh.organizer = QString();
        fresh.attendeeNames = {QString(), QString()};
        fresh.userNotes = QStringLiteral(" \n ");
        QTest::newRow("nothing known yet") << fresh << QString() << QStringList{"TRANSCRIPT: nothing has been transcribed yet."};

        Meeting untitled = fresh;
        untitled.title.clear();
        QTest::newRow("untitled") << untitled << QStringLiteral("Speaker A: hi") << QStringList{"TRANSCRIPT:\nSpeaker A: hi"};

        Meeting full(QStringLiteral("Họp sản phẩm"), QDateTime::currentDateTimeUtc());
        full.attendeeNames = {QStringLiteral("Lan"), QString(), QStringLiteral("Minh")};
        full.organizer = QStringLiteral("Hà");
        full.userNotes = QStringLiteral("\n- giá mới\n");
        full.isRecording = true;
        QTest::newRow("everything, while recording")
            << full << QStringLiteral("Speaker A: chào")
            << QStringList{"MEETING: Họp sản phẩm",
                           "INVITED: Lan, Minh\nUse these names when the transcript makes clear who is speaking. Do not guess a name "
                           "onto a line that could belong to anyone.",
                           "ORGANISER: Hà", "WHAT THEY WROTE DOWN THEMSELVES — treat as what matters most to them:\n- giá mới",
                           "TRANSCRIPT:\nSpeaker A: chào",
                           "This meeting is still being recorded, so the transcript ends at the present moment and more will "
                           "follow. \"Just now\" means the end of it."};
    }
    void systemPrompt()
    {
        QFETCH(Meeting, meeting);
        QFETCH(QString, transcript);
        QFETCH(QStringList, paragraphs);
        // The opening comes first, whatever is known.
        const QString nothing = QStringLiteral("\n\nTRANSCRIPT: nothing has been transcribed yet.");
        const QString opening = MeetingChatPrompt::system(Meeting(), QString()).chopped(nothing.size());
        QVERIFY(opening.startsWith(QStringLiteral("You are answering questions about one meeting, for the person who recorded it.")));
        QCOMPARE(MeetingChatPrompt::system(meeting, transcript), opening + QStringLiteral("\n\n") + paragraphs.join(QStringLiteral("\n\n")));
    }

    // The system message, the newest eight turns oldest first, then the question.
    void messagesKeepTheLastEightTurns()
    {
        QList<ChatMessage> history;
        for (int i = 0; i < 10; ++i)
            history.append(ChatMessage(i % 2 ? ChatRole::Assistant : ChatRole::User, QStringLiteral("turn %1").arg(i), std::nullopt));
        history[9].roleRaw = QStringLiteral("tool"); // anything but "assistant" goes out as the user
        QStringList sent;
        for (const QJsonValue &m : MeetingChatPrompt::build(QStringLiteral("What now?"), Meeting(), QString(), history))
            sent << m.toObject().value("role").toString() + QLatin1Char(':') + m.toObject().value("content").toString().left(8);
        QCOMPARE(sent, (QStringList{"system:You are ", "user:turn 2", "assistant:turn 3", "user:turn 4", "assistant:turn 5",
                                    "user:turn 6", "assistant:turn 7", "user:turn 8", "user:turn 9", "user:What now"}));
    }

    // Pieces arrive over time, cut anywhere (inside a line, a "\r\n" or a letter), among lines
    // that carry nothing; the answer shows as it grows and is stored once the stream ends.
    void streamsAndStores_data()
    {
        QTest::addColumn<QString>("storedModel");
        QTest::addColumn<QByteArray>("ending"); // empty: the server just closes
        QTest::addColumn<QString>("sentModel");
        QTest::newRow("[DONE] with a blank") << "kimi-k2.6" << QByteArray("data: [DONE]\n\n") << "kimi-k2.6";
        QTest::newRow("[DONE] without") << "gpt-5.6-luna" << QByteArray("data:[DONE]\r\n") << "gpt-5.6-luna";
        QTest::newRow("no [DONE], unknown model") << "retired-model" << QByteArray() << "fast";
    }
    void streamsAndStores()
    {
        QFETCH(QString, storedModel);
        QFETCH(QByteArray, ending);
        QFETCH(QString, sentModel);
        Rig rig;
        rig.settings.setChatModel(storedModel);
        QVERIFY(rig.chat.ask(QStringLiteral("Khi nào ship?"), rig.meetingId));
        QVERIFY(rig.chat.isAnswering());
        QCOMPARE(rig.turns(), QStringList{"user: Khi nào ship?"}); // stored before any answer
        QTRY_COMPARE(rig.server.requestCount(), 1);

        const TestHttpServer::Request request = rig.server.requests().first();
        QCOMPARE(request.target, QByteArray("/v1/chat/completions"));
        QVERIFY(request.header("Authorization") == "Bearer chat-token");
        QCOMPARE(request.header("Content-Type") + ' ' + request.header("Cache-Control"), QByteArray("application/json no-cache"));
        QJsonObject body = QJsonDocument::fromJson(request.body).object();
        const QJsonArray messages = body.take("messages").toArray();
        QCOMPARE(body, (QJsonObject{{"model", sentModel}, {"stream", true}, {"temperature", 0.3}, {"max_tokens", 1500}}));
        QCOMPARE(messages.size(), 2); // the question is not its own history
        QVERIFY(messages.first().toObject().value("content").toString().contains(QStringLiteral("TRANSCRIPT:\nSpeaker B: we ship on Friday")));

        rig.open(0);
        rig.server.write(0, ": keep-alive\n\n");
        rig.server.write(0, "data: {\"choices\":[{\"delta\":{\"role\":\"assistant\"}}]}\n\n");
        const QByteArray first = sse(QStringLiteral("Thứ "));
        rig.server.write(0, first.left(20));
        QTest::qWait(20);
        QCOMPARE(rig.chat.streamingAnswer(), QString()); // half a line is not a line
        rig.server.write(0, first.mid(20));
        QTRY_COMPARE(rig.chat.streamingAnswer(), QStringLiteral("Thứ "));
        rig.server.write(0, "data: {broken\r");
        const QByteArray second = sse(QStringLiteral("Sáu")).replace("\n\n", "\r\n");
        const qsizetype insideLetter = second.indexOf("\xC3\xA1") + 1; // between the two bytes of "á"
        rig.server.write(0, "\n" + second.left(insideLetter));
        QTest::qWait(20);
        rig.server.write(0, second.mid(insideLetter));
        QTRY_COMPARE(rig.chat.streamingAnswer(), QStringLiteral("Thứ Sáu"));
        QVERIFY(rig.finished.isEmpty());

        rig.server.write(0, ending.isEmpty() ? sse(QStringLiteral(".")) : ending + sse(QStringLiteral(" after the end")));
        if (ending.isEmpty())
            rig.server.close(0);
        QTRY_COMPARE(rig.finished.size(), 1);
        QCOMPARE(rig.chat.streamingAnswer(), QString());
        QVERIFY(!rig.chat.isAnswering());
        QVERIFY(rig.chat.error().isEmpty());
        const QString answer = ending.isEmpty() ? QStringLiteral("Thứ Sáu.") : QStringLiteral("Thứ Sáu");
        QCOMPARE(rig.turns(), (QStringList{"user: Khi nào ship?", QStringLiteral("assistant: ") + answer}));
        QCOMPARE(rig.store->chatMessages(rig.meetingId).last().modelId, std::optional<QString>(sentModel));
    }

    // The words that had arrived are dropped; the question stays; there is no retry. A blank
    // answer stores nothing, and signed out nothing is asked.
    void failures_data()
    {
        QTest::addColumn<int>("status"); // 0: no server; -1: silent after a piece; -2: a blank answer; -3: signed out
        QTest::addColumn<QString>("error");
        QTest::newRow("401") << 401 << "That request wasn't authorised. Try signing in again.";
        QTest::newRow("403") << 403 << "That request wasn't authorised. Try signing in again.";
        QTest::newRow("402") << 402 << "You've used your allowance for this month.";
        QTest::newRow("429") << 429 << "Too many requests just now — try again in a moment.";
        QTest::newRow("500") << 500 << "The request failed (500). Try again.";
        QTest::newRow("connection refused") << 0 << "Connection refused";
        QTest::newRow("silent for 120 s") << -1 << "The request timed out.";
        QTest::newRow("blank answer") << -2 << "";
        QTest::newRow("signed out") << -3 << QString(MeetingChatService::noCredentialsText);
    }
    void failures()
    {
        QFETCH(int, status);
        QFETCH(QString, error);
        Rig rig;
        if (status == 0) {
            QTcpServer closed;
            QVERIFY(closed.listen(QHostAddress::LocalHost));
            QUrl url = rig.server.url();
            url.setPort(closed.serverPort());
            rig.credentials.credentials->baseURL = url;
        } else if (status > 0) {
            rig.server.setHandler([status](const auto &) { return Reply::text(sse(QStringLiteral("never shown")), status); });
        }
        if (status == -3)
            rig.credentials.credentials.reset();
        QCOMPARE(rig.chat.ask(QStringLiteral("Q?"), rig.meetingId), status != -3);
        if (status == -1 || status == -2) {
            QTRY_COMPARE(rig.server.requestCount(), 1);
            rig.open(0);
            rig.server.write(0, status == -1 ? sse(QStringLiteral("partial")) : sse(QStringLiteral(" \n ")) + sse(QStringLiteral("\t")) + "data: [DONE]\n\n");
        }
        if (status == -1) {
            QTRY_COMPARE(rig.chat.streamingAnswer(), QStringLiteral("partial"));
            rig.clock.advance(119s);
            QVERIFY(rig.finished.isEmpty());
            rig.clock.advance(1s);
        }
        if (status != -3)
            QTRY_COMPARE(rig.finished.size(), 1);
        QCOMPARE(rig.chat.error(), error);
        QCOMPARE(rig.chat.streamingAnswer(), QString());
        QVERIFY(!rig.chat.isAnswering());
        QCOMPARE(rig.turns(), status == -3 ? QStringList() : QStringList{"user: Q?"});
        settle();
        QCOMPARE(rig.server.requestCount(), status == 0 || status == -3 ? 0 : 1);
    }

    // A second question drops the first answer unfinished; a late piece of it changes nothing.
    void secondQuestionCancelsFirst()
    {
        Rig rig;
        rig.chat.ask(QStringLiteral("First?"), rig.meetingId);
        QTRY_COMPARE(rig.server.requestCount(), 1);
        rig.open(0);
        rig.server.write(0, sse(QStringLiteral("Old")));
        QTRY_COMPARE(rig.chat.streamingAnswer(), QStringLiteral("Old"));

        QSignalSpy shown(&rig.chat, &MeetingChatService::streamingAnswerChanged);
        rig.chat.ask(QStringLiteral("Second?"), rig.meetingId);
        QCOMPARE(rig.chat.streamingAnswer(), QString());
        QVERIFY(rig.chat.isAnswering());
        rig.server.write(0, sse(QStringLiteral(" late")) + "data: [DONE]\n\n");
        QTRY_COMPARE(rig.server.requestCount(), 2);
        const QJsonArray sent = QJsonDocument::fromJson(rig.server.requests().at(1).body).object().value("messages").toArray();
        QCOMPARE(sent.at(1).toObject().value("content").toString(), QStringLiteral("First?"));
        QCOMPARE(sent.size(), 3);
        rig.open(1);
        rig.server.write(1, sse(QStringLiteral("New")) + "data: [DONE]\n\n");
        QTRY_COMPARE(rig.finished.size(), 1);
        QVERIFY(!rig.turns().join(QLatin1Char('|')).contains(QStringLiteral("Old")));
        QCOMPARE(rig.turns(), (QStringList{"user: First?", "user: Second?", "assistant: New"}));
        QCOMPARE(shown.size(), 3); // cleared, "New", cleared: never "Old" again
    }

    // A question asked while the stored keys are read waits for them (not "sign in"); Stop withdraws it.
    void questionWaitsForTheStoredKeys()
    {
        Rig rig;
        rig.credentials.known = false;
        QVERIFY(rig.chat.ask(QStringLiteral("Withdrawn?"), rig.meetingId));
        rig.chat.cancel();
        QVERIFY(rig.chat.ask(QStringLiteral("Q?"), rig.meetingId));
        QVERIFY(rig.chat.isAnswering());
        QCOMPARE(rig.chat.error(), QString());
        rig.credentials.becomeKnown();
        QTRY_COMPARE(rig.server.requestCount(), 1);
        QCOMPARE(rig.turns(), QStringList{"user: Q?"});
    }
};

ONDEL_TEST_MAIN(TestMeetingChat)

#include "tst_meetingchat.moc"
