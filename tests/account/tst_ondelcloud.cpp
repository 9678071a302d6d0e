#include "FakeClock.h"
#include "OndelCloud.h"
#include "Settings.h"
#include "TestEnvironment.h"
#include "TestHttpServer.h"

#include <QJsonDocument>
#include <QNetworkAccessManager>
#include <QTemporaryDir>
#include <QTest>
#include <QTimeZone>

using namespace std::chrono_literals;

namespace {

using Call = std::function<void(const OndelCloud &cloud, QObject *context, std::function<void(std::optional<CloudError>)> done)>;

// Each endpoint, reduced to whether it failed and how.
template<typename T>
auto errorOf(std::function<void(std::optional<CloudError>)> done)
{
    return [done = std::move(done)](const CloudResult<T> &result) { done(result.error); };
}

const QMap<QString, Call> &calls()
{
    static const QMap<QString, Call> all{
        {"request", [](auto &cloud, auto *context, auto done) { cloud.requestSignIn("me@example.com", context, errorOf<EmptyOK>(done)); }},
        {"verify code", [](auto &cloud, auto *context, auto done) { cloud.verify("me@example.com", "123456", context, errorOf<VerifyResult>(done)); }},
        {"verify token", [](auto &cloud, auto *context, auto done) { cloud.verify("l1nk", context, errorOf<VerifyResult>(done)); }},
        {"sign out", [](auto &cloud, auto *context, auto done) { cloud.signOut("sess", context, errorOf<EmptyOK>(done)); }},
        {"me", [](auto &cloud, auto *context, auto done) { cloud.me("sess", context, errorOf<AccountInfo>(done)); }},
        {"share", [](auto &cloud, auto *context, auto done) {
             const OndelCloud::ShareNotes notes{"", "# Notes\n- one", QDateTime(QDate(2026, 3, 2), QTime(16, 30, 15, 250), QTimeZone(7 * 3600)), 3599.9};
             cloud.share(notes, "sess", std::nullopt, context, errorOf<ShareResult>(done));
         }},
        {"share with the gateway key", [](auto &cloud, auto *context, auto done) {
             const OndelCloud::ShareNotes notes{"Standup", "text", QDateTime(QDate(2026, 1, 5), QTime(8, 0), Qt::UTC), 42};
             cloud.share(notes, "gw", QString("gw@example.com"), context, errorOf<ShareResult>(done));
         }},
    };
    return all;
}

const QByteArray kAccount = "{\"userId\":\"u1\",\"email\":\"me@example.com\",\"emailOptIn\":false,"
    "\"usage\":{\"minutesUsed\":12.5,\"quotaMinutes\":60,\"resetsAt\":1767225600},"
    "\"config\":{\"quotaMinutes\":60,\"analyticsEnabled\":true,\"analyticsFree\":false},\"extra\":[1]}";

} // namespace

// The cloud client against a real HTTP server on loopback, its time on a fake clock.
class TestOndelCloud : public QObject
{
    Q_OBJECT

    QTemporaryDir m_dir;
    std::unique_ptr<Settings> m_settings;
    std::unique_ptr<TestHttpServer> m_server;
    FakeClock m_clock; // one for all: a reply of an earlier case may still end on it
    QNetworkAccessManager m_network;
    std::unique_ptr<OndelCloud> m_cloud;

    // Runs one call to its end.
    std::optional<CloudError> run(const QString &name)
    {
        bool finished = false;
        std::optional<CloudError> error;
        calls().value(name)(*m_cloud, this, [&](std::optional<CloudError> e) {
            finished = true;
            error = e;
        });
        [&] { QTRY_VERIFY(finished); }();
        return error;
    }

private Q_SLOTS:
    void init()
    {
        m_settings = std::make_unique<Settings>(m_dir.filePath(QStringLiteral("settings.json")));
        m_server = std::make_unique<TestHttpServer>();
        m_settings->setOndelCloudBase(m_server->url().toString());
        m_cloud = std::make_unique<OndelCloud>(m_network, *m_settings, m_clock);
    }

    void sendsEachEndpoint_data()
    {
        QTest::addColumn<QString>("call");
        QTest::addColumn<QByteArray>("method");
        QTest::addColumn<QByteArray>("target");
        QTest::addColumn<QByteArray>("authorization");
        QTest::addColumn<QByteArray>("body"); // exact bytes; empty: no body and no content type
        QTest::newRow("request") << "request" << QByteArray("POST") << QByteArray("/v1/auth/request") << QByteArray()
                                 << QByteArray("{\"email\":\"me@example.com\"}");
        QTest::newRow("verify code") << "verify code" << QByteArray("POST") << QByteArray("/v1/auth/verify") << QByteArray()
                                     << QByteArray("{\"code\":\"123456\",\"email\":\"me@example.com\"}");
        QTest::newRow("verify token") << "verify token" << QByteArray("POST") << QByteArray("/v1/auth/verify") << QByteArray()
                                      << QByteArray("{\"token\":\"l1nk\"}");
        QTest::newRow("sign out") << "sign out" << QByteArray("POST") << QByteArray("/v1/auth/signout") << QByteArray("Bearer sess")
                                  << QByteArray("{}");
        QTest::newRow("me") << "me" << QByteArray("GET") << QByteArray("/v1/me") << QByteArray("Bearer sess") << QByteArray();
        QTest::newRow("share: untitled, date in UTC, whole seconds, no email")
            << "share" << QByteArray("POST") << QByteArray("/v1/shares") << QByteArray("Bearer sess")
            << QByteArray("{\"date\":\"2026-03-02T09:30:15Z\",\"duration\":\"3599\",\"summary\":\"# Notes\\n- one\",\"title\":\"Untitled meeting\"}");
        QTest::newRow("share with the gateway key")
            << "share with the gateway key" << QByteArray("POST") << QByteArray("/v1/shares") << QByteArray("Bearer gw")
            << QByteArray("{\"date\":\"2026-01-05T08:00:00Z\",\"duration\":\"42\",\"email\":\"gw@example.com\",\"summary\":\"text\",\"title\":\"Standup\"}");
    }
    void sendsEachEndpoint()
    {
        QFETCH(QString, call);
        QFETCH(QByteArray, method);
        QFETCH(QByteArray, target);
        QFETCH(QByteArray, authorization);
        QFETCH(QByteArray, body);
        run(call);
        QCOMPARE(m_server->requestCount(), 1);
        const TestHttpServer::Request request = m_server->requests().constFirst();
        QCOMPARE(request.method, method);
        QCOMPARE(request.target, target);
        QCOMPARE(request.header("authorization"), authorization);
        QCOMPARE(request.headers.contains("authorization"), !authorization.isEmpty());
        QCOMPARE(request.body, body);
        QCOMPARE(request.header("content-type"), body.isEmpty() ? QByteArray() : QByteArray("application/json"));
        QCOMPARE(request.headers.contains("content-type"), !body.isEmpty());
        QCOMPARE(m_clock.pendingCount(), 0); // the time-out went with the answer
    }

    void readsTheAnswer_data()
    {
        QTest::addColumn<QString>("call");
        QTest::addColumn<int>("status");
        QTest::addColumn<QByteArray>("body");
        QTest::addColumn<QString>("error"); // the description; empty: success
        QTest::addColumn<QString>("code");
        const QString malformed = QStringLiteral("Unexpected response from Ondel Cloud");

        QTest::newRow("401 with the error record") << "me" << 401 << QByteArray("{\"error\":{\"code\":\"unauthorized\",\"message\":\"Session expired.\"}}")
                                                   << "Session expired." << "unauthorized";
        QTest::newRow("500 in HTML") << "request" << 500 << QByteArray("<html>oops</html>") << "Ondel Cloud error (500)" << "http_500";
        QTest::newRow("503, record without message") << "request" << 503 << QByteArray("{\"error\":{\"code\":\"down\"}}")
                                                     << "Ondel Cloud error (503)" << "http_503";
        QTest::newRow("a redirect is a refusal") << "request" << 302 << QByteArray() << "Ondel Cloud error (302)" << "http_302";
        QTest::newRow("200 empty") << "request" << 200 << QByteArray() << malformed << "";
        for (const char *body : {"{}", "[]", "null", " \"ok\" "})
            QTest::addRow("200 %s", body) << "request" << 200 << QByteArray(body) << "" << "";
        QTest::newRow("201 counts") << "request" << 201 << QByteArray("{}") << "" << "";
        QTest::newRow("account") << "me" << 200 << kAccount << "" << "";
        QTest::newRow("account without usage") << "me" << 200 << QByteArray(kAccount).replace("\"usage\"", "\"usage_\"") << malformed << "";
        QTest::newRow("account, unlimited of another type") << "me" << 200
                                                            << QByteArray(kAccount).replace("\"resetsAt\"", "\"unlimited\":\"yes\",\"resetsAt\"")
                                                            << malformed << "";
        QTest::newRow("verify without userId") << "verify code" << 200 << QByteArray("{\"sessionToken\":\"s\",\"email\":\"e\"}") << malformed << "";
        QTest::newRow("share") << "share" << 200 << QByteArray("{\"id\":\"x\",\"url\":\"https://ondel.app/s/x\"}") << "" << "";
    }
    void readsTheAnswer()
    {
        QFETCH(QString, call);
        QFETCH(int, status);
        QFETCH(QByteArray, body);
        QFETCH(QString, error);
        QFETCH(QString, code);
        m_server->setHandler([&](const TestHttpServer::Request &) {
            TestHttpServer::Reply reply = TestHttpServer::Reply::json(body, status);
            if (status == 302)
                reply.headers.append({"Location", m_server->url().toEncoded() + "elsewhere"});
            return reply;
        });
        const std::optional<CloudError> result = run(call);
        QCOMPARE(result ? result->description() : QString(), error);
        QCOMPARE(result ? result->code : QString(), code);
        if (!code.isEmpty()) {
            QCOMPARE(result->kind, CloudError::Kind::Api);
            QCOMPARE(result->status, status);
        }
        QCOMPARE(m_server->requestCount(), 1); // nothing followed, nothing retried
    }

    // An override that is no URL falls back to the build's; one that is keeps its own path.
    void baseUrl()
    {
        for (const QString &notAUrl : {QString(), QStringLiteral("not a url"), QStringLiteral("http://")}) {
            m_settings->setOndelCloudBase(notAUrl);
            QCOMPARE(m_cloud->baseURL().scheme(), QStringLiteral("https"));
        }
        m_settings->setOndelCloudBase(m_server->url().toString() + QStringLiteral("api/"));
        run(QStringLiteral("me"));
        QCOMPARE(m_server->requests().constFirst().target, QByteArray("/api/v1/me"));
    }

    void failsWithoutAnAnswer()
    {
        m_settings->setOndelCloudBase(TestHttpServer::unreachableUrl().toString());
        std::optional<CloudError> error = run(QStringLiteral("request"));
        QCOMPARE(error->kind, CloudError::Kind::Network);
        QVERIFY(!error->description().isEmpty());

        // A server that never answers: the 20 seconds pass on the fake clock only.
        m_settings->setOndelCloudBase(m_server->url().toString());
        m_server->setHandler([](const TestHttpServer::Request &) { return TestHttpServer::Reply::held(); });
        bool finished = false;
        m_cloud->me(QStringLiteral("sess"), this, [&](const CloudResult<AccountInfo> &result) {
            finished = true;
            error = result.error;
        });
        QTRY_COMPARE(m_server->requestCount(), 1);
        m_clock.advance(19999ms);
        settle();
        QVERIFY(!finished);
        m_clock.advance(1ms);
        QTRY_VERIFY(finished);
        QCOMPARE(error, CloudError::network(QStringLiteral("The request timed out.")));
    }
};

ONDEL_TEST_MAIN(TestOndelCloud)

#include "tst_ondelcloud.moc"
