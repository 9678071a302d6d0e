#include "FakeClock.h"
#include "NotesRegenerator.h"
#include "OndelStore.h"
#include "SessionDoubles.h"
#include "SummaryGenerator.h"
#include "SummaryNotesGenerator.h"
#include "SummaryPrompts.h"
#include "TestEnvironment.h"
#include "TestHttpServer.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QNetworkAccessManager>
#include <QTemporaryDir>
#include <QTest>

using namespace std::chrono_literals;
using Reply = TestHttpServer::Reply;
using Request = TestHttpServer::Request;

namespace {

const QByteArray kToken = "test-token-not-a-secret";

// What a chat-completions server answers.
QByteArray completionBody(const QString &content)
{
    const QJsonObject message{{"role", "assistant"}, {"content", content}};
    return QJsonDocument(QJsonObject{{"id", "c1"}, {"choices", QJsonArray{QJsonObject{{"index", 0}, {"message", message}}}}}).toJson();
}

Reply completion(const QString &content)
{
    return Reply::json(completionBody(content));
}

QJsonObject requestBody(const QByteArray &body)
{
    return QJsonDocument::fromJson(body).object();
}

// A model server on a fake clock, a store, and what the generators and the regenerator need
// around them. Title requests are told apart by their token limit.
struct Rig
{
    TestHttpServer server;
    QTemporaryDir dir;
    std::unique_ptr<OndelStore> store = OndelStore::open(dir.filePath(QStringLiteral("Ondel.store")));
    FakeClock clock;
    QNetworkAccessManager network;
    // A base URL with a path of its own: the endpoint is appended to it.
    SummaryGenerator generator{ModelCredentials{server.url().resolved(QUrl(QStringLiteral("gw"))), QString::fromLatin1(kToken), true},
                               clock, network};
    SummaryNotesGenerator notes{clock, network};
    FakeCredentials credentials;
    FakeArchive archive;
    Reply titleReply = completion(QStringLiteral("\"Roadmap review\"\nmore"));
    Reply notesReply = completion(QStringLiteral("<think>plan</think>\n# Key Points\n- ship Friday"));
    std::optional<SummaryResult<QString>> notesResult;
    std::optional<SummaryResult<std::optional<QString>>> titleResult;

    Rig()
    {
        credentials.credentials = ModelCredentials{server.url(), QStringLiteral("t"), true};
        server.setHandler([this](const Request &r) { return isTitle(r) ? titleReply : notesReply; });
    }
    static bool isTitle(const Request &r) { return requestBody(r.body).value(QStringLiteral("max_tokens")).toInt() == 200; }
    void askNotes(const QString &transcript = QStringLiteral("Speaker A: hi"), const QString &userNotes = {},
                  const std::optional<QString> &calendar = std::nullopt)
    {
        generator.generateSummary(transcript, userNotes, calendar, [this](const SummaryResult<QString> &r) { notesResult = r; });
    }
    void askTitle(const QString &transcript) { generator.generateTitle(transcript, [this](const auto &r) { titleResult = r; }); }
    QUuid meeting(const QString &transcriptLine, bool userEditedTitle)
    {
        Meeting m(QStringLiteral("Old"), clock.now());
        m.titleIsUserEdited = userEditedTitle;
        m.summary = QStringLiteral("old notes");
        store->insert(m);
        if (!transcriptLine.isEmpty()) {
            TranscriptSegment s(transcriptLine, Speaker::me(), 1);
            s.meetingId = m.id;
            store->insert(s);
        }
        return m.id;
    }
};

} // namespace

class TestSummaryGenerator : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void requestFormat_data()
    {
        QTest::addColumn<bool>("isTitle");
        QTest::addColumn<QString>("transcript");
        QTest::addColumn<QString>("userNotes");
        QTest::addColumn<QString>("calendar"); // null: none
        QTest::addColumn<QString>("system");
        QTest::addColumn<QString>("user");
        QTest::addColumn<int>("maxTokens");

        const QString block = QStringLiteral("Meeting context from the calendar:\n- Event title: Sprint review");
        const QString transcript = QStringLiteral("Speaker A: chào mọi người");
        QTest::newRow("notes, blank notes") << false << transcript << QStringLiteral(" \n\t ") << QString() << SummaryPrompts::notesSystemPrompt(std::nullopt)
                                     << transcript << 2048;
        QTest::newRow("notes with calendar and notes")
            << false << transcript << QStringLiteral("  ship it \n") << block << SummaryPrompts::notesSystemPrompt(block)
            << QString(QStringLiteral("=== USER NOTES ===\nship it\n\n=== TRANSCRIPT ===\n") + transcript) << 2048;
        const QString longVietnamese = QStringLiteral("Đồng ý với kế hoạch. ").repeated(150); // 3,150 characters
        QTest::newRow("title, cut at 2000 characters")
            << true << longVietnamese << QString() << QString() << SummaryPrompts::titleSystemPrompt() << longVietnamese.left(2000) << 200;
    }
    void requestFormat()
    {
        QFETCH(bool, isTitle);
        QFETCH(QString, transcript);
        QFETCH(QString, userNotes);
        QFETCH(QString, calendar);
        QFETCH(QString, system);
        QFETCH(QString, user);
        QFETCH(int, maxTokens);
        Rig rig;
        rig.server.setHandler([](const auto &) { return completion(QStringLiteral("ok")); });
        if (isTitle)
            rig.askTitle(transcript);
        else
            rig.askNotes(transcript, userNotes, calendar.isNull() ? std::nullopt : std::optional<QString>(calendar));
        QTRY_VERIFY(rig.notesResult || rig.titleResult);

        QCOMPARE(rig.server.requestCount(), 1);
        const TestHttpServer::Request request = rig.server.requests().first();
        QCOMPARE(request.method + ' ' + request.target, QByteArray("POST /gw/v1/chat/completions"));
        QVERIFY(request.header("Authorization") == "Bearer " + kToken); // not QCOMPARE: a token is never printed
        QCOMPARE(request.header("Content-Type"), QByteArray("application/json"));
        const QJsonArray messages{QJsonObject{{"role", "system"}, {"content", system}}, QJsonObject{{"role", "user"}, {"content", user}}};
        QCOMPARE(requestBody(request.body), (QJsonObject{{"model", "fast"}, {"temperature", 0.3}, {"max_tokens", maxTokens}, {"messages", messages}}));
    }

    // Each 429 waits (Retry-After in seconds, else 2, 4, 8; at most 60), logs, and only then
    // decides: the third one gives up after its wait.
    void rateLimits_data()
    {
        QTest::addColumn<QByteArray>("retryAfter");
        QTest::addColumn<QList<int>>("waitsMs");
        QTest::addColumn<QStringList>("shown");
        QTest::newRow("90 is capped at 60") << QByteArray("90") << QList<int>{60000, 60000, 60000} << QStringList{"60", "60", "60"};
        QTest::newRow("1.5") << QByteArray("1.5") << QList<int>{1500, 1500, 1500} << QStringList{"2", "2", "2"};
        QTest::newRow("0 retries at once") << QByteArray("0") << QList<int>{0, 0, 0} << QStringList{"0", "0", "0"};
        QTest::newRow("a date falls back") << QByteArray("Wed, 21 Oct 2026 07:28:00 GMT") << QList<int>{2000, 4000, 8000}
                                           << QStringList{"2", "4", "8"};
        QTest::newRow("none") << QByteArray() << QList<int>{2000, 4000, 8000} << QStringList{"2", "4", "8"};
    }
    void rateLimits()
    {
        QFETCH(QByteArray, retryAfter);
        QFETCH(QList<int>, waitsMs);
        QFETCH(QStringList, shown);
        Rig rig;
        LogRecorder log;
        Reply slowDown = Reply::text("slow down", 429);
        if (!retryAfter.isEmpty())
            slowDown.headers.append({"Retry-After", retryAfter});
        rig.server.setHandler([&](const auto &) { return slowDown; });
        rig.askNotes();
        for (int attempt = 0; attempt < 3; ++attempt) {
            QTRY_COMPARE(rig.server.requestCount(), attempt + 1);
            QTRY_VERIFY(log.contains(QStringLiteral("[Ondel] Rate limited, retrying in %1s (attempt %2/3)").arg(shown.at(attempt)).arg(attempt + 1)));
            if (waitsMs.at(attempt) > 0) {
                rig.clock.advance(std::chrono::milliseconds(waitsMs.at(attempt) - 1));
                settle();
                QCOMPARE(rig.server.requestCount(), attempt + 1);
                QVERIFY(!rig.notesResult);
            }
            rig.clock.advance(1ms);
        }
        QTRY_VERIFY(rig.notesResult);
        QCOMPARE(rig.notesResult->error->description(), QStringLiteral("Vrel API error (429): Rate limited"));
        QCOMPARE(rig.server.requestCount(), 3);
    }

    // Only 429 is retried; below HTTP the call ends at once, with the clock standing still.
    void failures_data()
    {
        QTest::addColumn<int>("status"); // 0: the body is the raw answer, then the server closes
        QTest::addColumn<QByteArray>("body");
        QTest::addColumn<QString>("description"); // its start; empty: success with empty notes

        const QString parse = QStringLiteral("Failed to parse Vrel response");
        QTest::newRow("500") << 500 << QByteArray("upstream exploded") << "Vrel API error (500): upstream exploded";
        QTest::newRow("500, not UTF-8") << 500 << QByteArray("\xff\xfe\xfd") << "Vrel API error (500): Unknown error";
        QTest::newRow("201 is no success") << 201 << QByteArray("created") << "Vrel API error (201): created";
        QTest::newRow("not JSON") << 200 << QByteArray("<html>oops") << "Vrel sent something that is not JSON (illegal value)";
        QTest::newRow("array") << 200 << QByteArray("[]") << parse;
        QTest::newRow("no choices") << 200 << QByteArray("{}") << parse;
        QTest::newRow("empty choices") << 200 << QByteArray(R"({"choices":[]})") << parse;
        QTest::newRow("a choice not an object") << 200 << QByteArray(R"({"choices":[{"message":{"content":"a"}},2]})") << parse;
        QTest::newRow("message a string") << 200 << QByteArray(R"({"choices":[{"message":"a"}]})") << parse;
        QTest::newRow("content null") << 200 << QByteArray(R"({"choices":[{"message":{"content":null}}]})") << parse;
        QTest::newRow("not HTTP") << 0 << QByteArray("HELLO THERE\r\n\r\n") << "Connection closed";
        QTest::newRow("closed mid-body") << 0 << QByteArray("HTTP/1.1 200 OK\r\nContent-Length: 100\r\n\r\n{\"choices\"") << "Connection closed";
        QTest::newRow("empty content") << 200 << QByteArray(R"({"choices":[{"message":{"content":""}}]})") << QString();
    }
    void failures()
    {
        QFETCH(int, status);
        QFETCH(QByteArray, body);
        QFETCH(QString, description);
        Rig rig;
        rig.server.setHandler([&](const auto &) { return status ? Reply::json(body, status) : Reply::held(); });
        connect(&rig.server, &TestHttpServer::requestReceived, &rig.server, [&](int i) {
            rig.server.write(i, body);
            rig.server.close(i);
        });
        rig.askNotes();
        QTRY_VERIFY(rig.notesResult);
        QCOMPARE(rig.notesResult->ok(), description.isEmpty());
        if (rig.notesResult->ok())
            QCOMPARE(rig.notesResult->value, QString());
        else
            QVERIFY2(rig.notesResult->error->description().startsWith(description), qPrintable(rig.notesResult->error->description()));
        settle();
        if (status)
            QCOMPARE(rig.server.requestCount(), 1);
    }

    // The time-out runs on the clock, from the last byte received.
    void timesOutAfter120Seconds()
    {
        Rig rig;
        rig.server.setHandler([](const auto &) { return Reply::held(); });
        rig.askNotes();
        QTRY_COMPARE(rig.server.requestCount(), 1);
        rig.server.write(0, "HTTP/1.1 200 OK\r\nContent-Length: 500\r\n\r\n{\"cho");
        QTest::qWait(50); // lets real bytes cross a real socket; the clock stands still meanwhile
        rig.clock.advance(100s);
        QVERIFY(!rig.notesResult);
        rig.server.write(0, "ices\":"); // activity: the limit counts from here
        QTest::qWait(50);
        rig.clock.advance(119s);
        settle();
        QVERIFY(!rig.notesResult);
        rig.clock.advance(1s);
        QVERIFY(rig.notesResult);
        QCOMPARE(rig.notesResult->error->description(), QStringLiteral("The request timed out."));
        QCOMPARE(rig.server.requestCount(), 1);
    }

    // Title and notes are in flight together, each with its own counter: a rate-limited title
    // does not hold back the notes.
    void titleAndNotesSideBySide()
    {
        Rig rig;
        rig.server.setHandler([](const auto &) { return Reply::held(); });
        rig.askTitle(QStringLiteral("Speaker A: hi"));
        rig.askNotes();
        QTRY_COMPARE(rig.server.requestCount(), 2);
        const int titleIndex = requestBody(rig.server.requests().at(0).body).value("max_tokens").toInt() == 200 ? 0 : 1;
        rig.server.setHandler([](const auto &) { return completion(QStringLiteral("\"Hello\"")); });
        rig.server.write(titleIndex, "HTTP/1.1 429 Too Many Requests\r\nRetry-After: 5\r\nContent-Length: 0\r\n\r\n");
        rig.server.write(1 - titleIndex, "HTTP/1.1 200 OK\r\nContent-Length: " + QByteArray::number(completionBody("# Notes").size()) + "\r\n\r\n"
                                             + completionBody("# Notes"));
        QTRY_VERIFY(rig.notesResult);
        QCOMPARE(rig.notesResult->value, QStringLiteral("# Notes"));
        QVERIFY(!rig.titleResult);
        rig.clock.advance(5s);
        QTRY_VERIFY(rig.titleResult);
        QCOMPARE(rig.titleResult->value, std::optional<QString>(QStringLiteral("Hello")));
        QCOMPARE(rig.server.requestCount(), 3);
    }

    // The title is awaited first and decides when it fails; the other request is then dropped.
    void outcomes_data()
    {
        QTest::addColumn<Reply>("title");
        QTest::addColumn<Reply>("notes");
        QTest::addColumn<QString>("expectedTitle"); // null: none
        QTest::addColumn<QString>("expectedNotes");
        QTest::addColumn<QString>("error");
        const Reply title = completion(QStringLiteral("\"Roadmap review\""));
        const Reply notes = completion(QStringLiteral("<think>x</think>\n# Key Points\n- a"));
        QTest::newRow("both") << title << notes << "Roadmap review" << "# Key Points\n- a" << QString();
        QTest::newRow("no usable title") << completion(QStringLiteral("Let me think")) << notes << QString() << "# Key Points\n- a" << QString();
        QTest::newRow("title fails") << Reply::text("busy", 500) << notes << QString() << QString() << "Vrel API error (500): busy";
        QTest::newRow("title fails, notes pending") << Reply::text("no", 500) << Reply::held() << QString() << QString()
                                                    << "Vrel API error (500): no";
        QTest::newRow("notes fail") << title << Reply::text("down", 503) << QString() << QString() << "Vrel API error (503): down";
        QTest::newRow("both fail: the title's error") << Reply::text("t", 502) << Reply::text("n", 500) << QString() << QString()
                                                      << "Vrel API error (502): t";
    }
    void outcomes()
    {
        QFETCH(Reply, title);
        QFETCH(Reply, notes);
        QFETCH(QString, expectedTitle);
        QFETCH(QString, expectedNotes);
        QFETCH(QString, error);
        Rig rig;
        rig.titleReply = title;
        rig.notesReply = notes;
        QObject context;
        QList<NotesResult> results;
        rig.notes.generate(*rig.credentials.credentials, Meeting(), QStringLiteral("Speaker A: hi"), &context,
                           [&](const NotesResult &r) { results.append(r); });
        QTRY_COMPARE(results.size(), 1);
        QCOMPARE(results.first().error, error);
        QCOMPARE(results.first().title.value_or(QString()), expectedTitle);
        QCOMPARE(results.first().title.has_value(), !expectedTitle.isNull());
        QCOMPARE(results.first().notes, expectedNotes);
        settle();
        QCOMPARE(results.size(), 1);
        QCOMPARE(rig.clock.pendingCount(), 0); // nothing left running, time-outs included
    }

    // As the meeting screen regenerates: the old notes stay until the new ones arrive.
    void regenerate_data()
    {
        QTest::addColumn<bool>("signedIn");
        QTest::addColumn<QString>("line"); // the transcript
        QTest::addColumn<bool>("userTitle");
        QTest::addColumn<bool>("fails");
        QTest::addColumn<QString>("title");
        QTest::addColumn<QString>("summary");
        QTest::addColumn<QString>("error");
        QTest::addColumn<bool>("keysLate"); // pressed while the stored keys are still being read
        const QString line = QStringLiteral("let us review the roadmap");
        const QString newNotes = QStringLiteral("# Key Points\n- ship Friday");
        QTest::newRow("signed out") << false << line << false << false << "Old" << "old notes" << NotesRegenerator::noCredentialsText << false;
        QTest::newRow("no transcript: silence") << true << QString() << false << false << "Old" << "old notes" << QString() << false;
        QTest::newRow("new title and notes") << true << line << false << false << "Roadmap review" << newNotes << QString() << false;
        QTest::newRow("keys read late") << true << line << false << false << "Roadmap review" << newNotes << QString() << true;
        QTest::newRow("the user's title stays") << true << line << true << false << "Old" << newNotes << QString() << false;
        QTest::newRow("failure keeps the old") << true << line << false << true << "Old" << "old notes" << "Vrel API error (500): boom" << false;
    }
    void regenerate()
    {
        QFETCH(bool, signedIn);
        QFETCH(QString, line);
        QFETCH(bool, userTitle);
        QFETCH(bool, fails);
        QFETCH(QString, title);
        QFETCH(QString, summary);
        QFETCH(QString, error);
        QFETCH(bool, keysLate);
        Rig rig;
        LogRecorder log;
        rig.credentials.known = !keysLate;
        const std::optional<ModelCredentials> stored = rig.credentials.credentials;
        if (!signedIn || keysLate)
            rig.credentials.credentials.reset();
        if (fails)
            rig.notesReply = Reply::text("boom", 500);
        const QUuid id = rig.meeting(line, userTitle);
        NotesRegenerator regenerator(*rig.store, rig.credentials, rig.notes, &rig.archive);

        const bool starts = signedIn && !line.isEmpty();
        QCOMPARE(regenerator.regenerate(id), starts);
        if (keysLate) { // not "sign in": the press waits for the keys
            QCOMPARE(regenerator.regenerateError(), QString());
            rig.credentials.credentials = stored;
            rig.credentials.becomeKnown();
        }
        if (starts) {
            QVERIFY(regenerator.isRegenerating());
            QCOMPARE(rig.store->meeting(id)->summary, std::optional<QString>(QStringLiteral("old notes")));
            QTRY_VERIFY(!regenerator.isRegenerating());
            QVERIFY(log.contains(QStringLiteral("[Ondel] Regenerating summary (transcript 36 chars)")));
            QVERIFY(log.contains(fails ? QStringLiteral("[Ondel] Regenerate failed: ") + error
                                       : QStringLiteral("[Ondel] Summary regenerated (%1 chars)").arg(summary.size())));
        }
        const Meeting m = *rig.store->meeting(id);
        QCOMPARE(m.title, title);
        QCOMPARE(m.summary, std::optional<QString>(summary));
        QCOMPARE(regenerator.regenerateError(), error);
        QCOMPARE(rig.archive.archived.size(), starts && !fails ? 1 : 0);
        QCOMPARE(rig.server.requestCount(), starts ? 2 : 0);
    }
};

ONDEL_TEST_MAIN(TestSummaryGenerator)

#include "tst_summarygenerator.moc"
