#include "AccountService.h"
#include "FakeClock.h"
#include "Keychain.h"
#include "SecretServiceFixture.h"
#include "Settings.h"
#include "TestEnvironment.h"
#include "TestHttpServer.h"

#include <QJsonDocument>
#include <QJsonObject>
#include <QNetworkAccessManager>
#include <QTemporaryDir>
#include <QTest>
#include <QTimer>
#include <QUrlQuery>

using namespace std::chrono_literals;
using Flow = AccountService::Flow;
using Reply = TestHttpServer::Reply;

namespace {

QString item(const char *account)
{
    return QString::fromLatin1(account);
}

const char *const kItems[] = {AccountService::sessionTokenAccount, AccountService::vrelKeyAccount,
                              AccountService::vrelEmailAccount, AccountService::byoKeyAccount};

// Secrets an earlier run left in the keyring, in the order of kItems; an empty one is not there.
void keep(const QStringList &values)
{
    for (qsizetype i = 0; i < values.size(); ++i)
        if (!values[i].isEmpty())
            Keychain::set(values[i], item(kItems[i]));
}

QByteArray account(double used, double quota, const QByteArray &unlimited = "false")
{
    return R"({"userId":"u1","email":"me@example.com","emailOptIn":true,"usage":{"minutesUsed":)" + QByteArray::number(used)
        + R"(,"quotaMinutes":)" + QByteArray::number(quota) + R"(,"resetsAt":0,"unlimited":)" + unlimited
        + R"(},"config":{"quotaMinutes":60,"analyticsEnabled":false,"analyticsFree":false}})";
}

QByteArray refusal(const char *code, const char *message)
{
    return QByteArray("{\"error\":{\"code\":\"") + code + "\",\"message\":\"" + message + "\"}}";
}

QByteArray rawResponse(int status, const QByteArray &body)
{
    return "HTTP/1.1 " + QByteArray::number(status) + " X\r\nContent-Type: application/json\r\nContent-Length: "
        + QByteArray::number(body.size()) + "\r\n\r\n" + body;
}

QJsonObject bodyOf(const TestHttpServer::Request &request)
{
    return QJsonDocument::fromJson(request.body).object();
}

} // namespace

// The account service over a real Secret Service and local cloud and gateway servers; its
// time on a fake clock.
class TestAccountService : public QObject
{
    Q_OBJECT

    std::unique_ptr<SecretServiceFixture> m_secrets;
    QTemporaryDir m_dir;
    std::unique_ptr<Settings> m_settings;
    std::unique_ptr<TestHttpServer> m_cloud;
    std::unique_ptr<TestHttpServer> m_gateway;
    FakeClock m_clock; // one for all: a reply of an earlier case may still end on it
    QNetworkAccessManager m_network;
    std::unique_ptr<AccountService> m_account;
    std::unique_ptr<LogRecorder> m_log;
    QHash<QByteArray, Reply> m_replies; // by path, on both servers
    VrelOAuth::CallbackReceiver m_waiting;

    // Returns at once; the secrets come in later.
    void startReading()
    {
        m_account = std::make_unique<AccountService>(*m_settings, AccountService::Dependencies{&m_network, &m_clock, {}});
        m_account->oauth().setCallbackRoute({[this](auto receiver) { m_waiting = std::move(receiver); }, [this] { m_waiting = nullptr; }});
    }
    void start()
    {
        startReading();
        QTRY_VERIFY(m_account->isLoaded());
    }
    QList<TestHttpServer::Request> requestsTo(const QByteArray &path) const
    {
        QList<TestHttpServer::Request> found;
        for (const TestHttpServer *server : {m_cloud.get(), m_gateway.get()}) {
            for (const TestHttpServer::Request &request : server->requests()) {
                if (request.target.startsWith(path))
                    found.append(request);
            }
        }
        return found;
    }
    void reachCodeSent()
    {
        m_account->sendSignInEmail("me@example.com");
        QTRY_COMPARE(m_account->flow(), Flow::CodeSent);
    }

private Q_SLOTS:
    void initTestCase()
    {
        m_secrets = std::make_unique<SecretServiceFixture>();
        QVERIFY2(m_secrets->error().isEmpty(), qPrintable(m_secrets->error()));
    }
    void init()
    {
        for (const char *name : kItems)
            Keychain::remove(item(name));
        m_settings = std::make_unique<Settings>(m_dir.filePath("settings.json"));
        m_cloud = std::make_unique<TestHttpServer>();
        m_gateway = std::make_unique<TestHttpServer>();
        m_settings->setOndelCloudBase(m_cloud->url().toString());
        m_settings->setVrelWebBase(m_gateway->url().toString());
        m_replies = {
            {"/v1/auth/request", Reply::json("{}")},
            {"/v1/auth/verify", Reply::json("{\"sessionToken\":\"sess-1\",\"userId\":\"u1\",\"email\":\"me@example.com\"}")},
            {"/v1/me", Reply::json(account(12, 60))},
            {"/v1/auth/signout", Reply::json("{}")},
            {"/v1/shares", Reply::json("{\"id\":\"s1\",\"url\":\"https://ondel.app/s/s1\"}")},
            {"/v1/credits/balance", Reply::json("{\"balance\": 12}")},
            {"/v1/auth/token", Reply::json("{\"api_key\":\"vk-1\",\"email\":\"gw@example.com\",\"balance\":3.5}")},
        };
        for (TestHttpServer *server : {m_cloud.get(), m_gateway.get()})
            server->setHandler([this](const TestHttpServer::Request &request) { return m_replies.value(request.target.split('?').value(0), Reply::json("{}", 404)); });
        m_log.reset(); // the old one would take the new one's place away as it goes
        m_log = std::make_unique<LogRecorder>();
    }
    void cleanup()
    {
        m_secrets->holdKeyring(false);
        m_account.reset();
        // No secret reaches the log or the settings file.
        QFile file(m_settings->filePath());
        const QString settingsText = file.open(QIODevice::ReadOnly) ? QString::fromUtf8(file.readAll()) : QString();
        const QStringList texts = m_log->lines() << settingsText;
        for (const QString &text : texts) {
            for (const char *secret : {"sess-1", "vk-", "own-key"})
                QVERIFY2(!text.contains(QLatin1String(secret)), qPrintable(text));
        }
    }

    void signsInByCode()
    {
        start();
        m_account->verifyCode("123456"); // nothing awaited: nothing sent
        m_account->sendSignInEmail("  Me@Example.COM \n");
        QCOMPARE(m_account->flowState(), QStringLiteral("sending"));
        QTRY_COMPARE(m_account->flow(), Flow::CodeSent);
        QCOMPARE(m_account->flowEmail(), QStringLiteral("me@example.com"));
        QCOMPARE(bodyOf(requestsTo("/v1/auth/request").constFirst()).value("email"), QStringLiteral("me@example.com"));
        QVERIFY(requestsTo("/v1/auth/verify").isEmpty());

        // A second send restarts the countdown at 60; at 0 it stops ticking. (The settings
        // screen's test reads each second of it.)
        QCOMPARE(m_account->resendCooldown(), 60);
        m_clock.advance(30s);
        m_account->resendSignInEmail();
        QTRY_COMPARE(m_account->resendCooldown(), 60);
        QCOMPARE(requestsTo("/v1/auth/request").size(), 2);
        m_clock.advance(65s);
        QCOMPARE(m_account->resendCooldown(), 0);
        QCOMPARE(m_clock.pendingCount(), 0);

        m_account->verifyCode("123456");
        QCOMPARE(m_account->flow(), Flow::Verifying);
        QTRY_VERIFY(m_account->isSignedIn());
        QCOMPARE(bodyOf(requestsTo("/v1/auth/verify").constFirst()),
                 QJsonObject({{"email", "me@example.com"}, {"code", "123456"}}));
        QCOMPARE(m_account->flow(), Flow::Idle);
        QCOMPARE(Keychain::string(item(AccountService::sessionTokenAccount)), std::optional<QString>("sess-1"));
        QVERIFY(m_log->contains("[Ondel] Signed in as me@example.com"));
        QTRY_VERIFY(m_account->hasAccount()); // refreshed after signing in
        QCOMPARE(m_account->displayEmail(), QStringLiteral("me@example.com"));
        QCOMPARE(m_account->modelCredentials(), std::optional<ModelCredentials>({m_cloud->url(), "sess-1", true}));

        start(); // the next run finds the session, and nothing of the flow
        QVERIFY(m_account->isSignedIn());
        QCOMPARE(m_account->flow(), Flow::Idle);
    }

    // How an answer fails is the cloud client's to tell; here, where each step leaves the flow.
    void showsWhyASignInFailed_data()
    {
        QTest::addColumn<QString>("step"); // "send", "code" or "link"
        QTest::addColumn<int>("status"); // 0: no answer until the time-out
        QTest::addColumn<QByteArray>("body");
        QTest::addColumn<QString>("flow");
        QTest::addColumn<QString>("error");
        const QByteArray refused = refusal("invalid", "Not accepted.");
        QTest::newRow("send refused") << "send" << 400 << refused << "idle" << "Not accepted.";
        QTest::newRow("code refused: try again") << "code" << 401 << refused << "codeSent" << "Not accepted.";
        QTest::newRow("code timed out") << "code" << 0 << QByteArray() << "codeSent" << "The request timed out.";
        QTest::newRow("link refused: back to the start") << "link" << 410 << refused << "idle" << "Not accepted.";
    }
    void showsWhyASignInFailed()
    {
        QFETCH(QString, step);
        QFETCH(int, status);
        QFETCH(QByteArray, body);
        QFETCH(QString, flow);
        QFETCH(QString, error);
        start();
        if (step != QLatin1String("send"))
            reachCodeSent();
        const QByteArray path = step == QLatin1String("send") ? "/v1/auth/request" : "/v1/auth/verify";
        m_replies[path] = status ? Reply::json(body, status) : Reply::held();
        const int before = int(requestsTo(path).size());
        if (step == QLatin1String("send"))
            m_account->sendSignInEmail("me@example.com");
        else if (step == QLatin1String("code"))
            m_account->verifyCode("000000");
        else
            m_account->handleOpenURL(QUrl("ondel://auth?token=old"));
        QTRY_COMPARE(requestsTo(path).size(), before + 1);
        if (!status)
            m_clock.advance(OndelCloud::timeout);
        QTRY_COMPARE(m_account->flowError(), error);
        QCOMPARE(m_account->flowState(), flow);
        QVERIFY(!m_account->isSignedIn());
    }

    // The last answer writes the flow; the link's sign-in stands.
    void linkArrivesDuringACodeCheck()
    {
        start();
        reachCodeSent();
        m_cloud->setHandler([this](const TestHttpServer::Request &request) {
            return bodyOf(request).contains("code") ? Reply::held() : m_replies.value(request.target);
        });
        m_account->verifyCode("123456");
        QTRY_COMPARE(m_cloud->requestCount(), 2);
        m_account->handleOpenURL(QUrl("ondel://auth?token=l1nk"));
        QTRY_VERIFY(m_account->isSignedIn());
        QCOMPARE(m_account->flow(), Flow::Idle);
        m_cloud->write(1, rawResponse(401, refusal("invalid_code", "That code has expired.")));
        QTRY_COMPARE(m_account->flowError(), QStringLiteral("That code has expired."));
        QCOMPARE(m_account->flow(), Flow::CodeSent);
        QCOMPARE(m_account->flowEmail(), QStringLiteral("me@example.com"));
        QVERIFY(m_account->isSignedIn());
    }

    void refreshLosesARefusedSession_data()
    {
        QTest::addColumn<bool>("gatewayKey");
        QTest::newRow("session only") << false;
        QTest::newRow("with a gateway key") << true;
    }
    void refreshLosesARefusedSession()
    {
        QFETCH(bool, gatewayKey);
        keep({"sess-1", gatewayKey ? "vk-1" : "", gatewayKey ? "gw@example.com" : ""});
        m_replies["/v1/me"] = Reply::json(refusal("unauthorized", "Sign in again."), 403);
        start();
        m_account->refresh();
        QTRY_VERIFY(m_account->needsReauth());
        QCOMPARE(m_account->isSignedIn(), gatewayKey);
        QCOMPARE(Keychain::string(item(AccountService::sessionTokenAccount)), std::nullopt);
        QCOMPARE(m_account->modelCredentials().has_value(), gatewayKey);
        if (gatewayKey) {
            // The balance came first, with the gateway key; a whole number reads as dollars.
            QCOMPARE(m_gateway->requests().constFirst().header("authorization"), QByteArray("Bearer vk-1"));
            QCOMPARE(m_account->vrelBalance(), std::optional<double>(12.0));
            QCOMPARE(m_account->displayEmail(), QStringLiteral("gw@example.com"));
        }
    }

    void refreshKeepsTheRecordOnOtherFailures()
    {
        keep({"sess-1"});
        start();
        m_account->refresh();
        QTRY_VERIFY(m_account->hasAccount());
        m_replies["/v1/me"] = Reply::text("<html>", 500);
        m_account->refresh();
        QTRY_VERIFY(m_log->contains("[Ondel] Account refresh failed: Ondel Cloud error (500)"));
        QVERIFY(m_account->hasAccount());
        QVERIFY(m_account->hasSession());
        QVERIFY(!m_account->needsReauth());
    }

    void allowance_data()
    {
        QTest::addColumn<double>("used");
        QTest::addColumn<double>("quota");
        QTest::addColumn<QByteArray>("unlimited");
        QTest::addColumn<bool>("exhausted");
        QTest::newRow("below") << 59.9 << 60.0 << QByteArray("false") << false;
        QTest::newRow("equal") << 60.0 << 60.0 << QByteArray("false") << true;
        QTest::newRow("no quota") << 500.0 << 0.0 << QByteArray("false") << false;
        QTest::newRow("unlimited") << 500.0 << 60.0 << QByteArray("true") << false;
    }
    void allowance()
    {
        QFETCH(double, used);
        QFETCH(double, quota);
        QFETCH(QByteArray, unlimited);
        QFETCH(bool, exhausted);
        keep({"sess-1"});
        m_replies["/v1/me"] = Reply::json(account(used, quota, unlimited));
        start();
        QVERIFY(!m_account->allowanceExhausted()); // not loaded yet: recording may start
        m_account->refresh();
        QTRY_VERIFY(m_account->hasAccount());
        QCOMPARE(m_account->allowanceExhausted(), exhausted);
        QCOMPARE(m_account->minutesUsed(), used);
    }

    void signsOutEvenOffline_data()
    {
        QTest::addColumn<bool>("online");
        QTest::newRow("online") << true;
        QTest::newRow("offline") << false;
    }
    void signsOutEvenOffline()
    {
        QFETCH(bool, online);
        keep({"sess-1", "vk-1", "gw@example.com", "own-key"});
        start();
        m_account->refresh();
        QTRY_VERIFY(m_account->hasAccount());
        if (!online)
            m_settings->setOndelCloudBase(TestHttpServer::unreachableUrl().toString());
        m_account->signOut();
        QVERIFY(!m_account->isSignedIn());
        QVERIFY(!m_account->hasAccount() && !m_account->hasVrelBalance());
        QCOMPARE(m_account->displayEmail(), QString());
        for (const char *name : {AccountService::sessionTokenAccount, AccountService::vrelKeyAccount, AccountService::vrelEmailAccount})
            QCOMPARE(Keychain::string(item(name)), std::nullopt);
        QCOMPARE(m_account->modelCredentials()->token, QStringLiteral("own-key")); // the typed key stays
        QCOMPARE(Keychain::string(item(AccountService::byoKeyAccount)), std::optional<QString>("own-key"));
        if (online) {
            QTRY_COMPARE(requestsTo("/v1/auth/signout").size(), 1);
            QCOMPARE(requestsTo("/v1/auth/signout").constFirst().header("authorization"), QByteArray("Bearer sess-1"));
        }
        QVERIFY(m_log->contains("[Ondel] Signed out"));
    }

    void signsInWithVrel_data()
    {
        QTest::addColumn<QString>("callback"); // "STATE" stands for the state sent
        QTest::addColumn<bool>("gatewayUp");
        QTest::addColumn<QString>("error"); // empty: signed in, or cancelled
        QTest::newRow("signed in") << "code=c&state=STATE" << true << "";
        QTest::newRow("refused") << "code=bad&state=STATE" << true << "Sign-in failed (400). Please try again.";
        QTest::newRow("gateway down") << "code=c&state=STATE" << false << "Couldn't sign in — try again.";
        QTest::newRow("cancelled: nothing shown") << "" << true << "";
    }
    void signsInWithVrel()
    {
        QFETCH(QString, callback);
        QFETCH(bool, gatewayUp);
        QFETCH(QString, error);
        m_gateway->setHandler([this](const TestHttpServer::Request &request) {
            return request.body.contains("code=bad") ? Reply::text("no", 400) : m_replies.value(request.target);
        });
        if (!gatewayUp)
            m_settings->setVrelWebBase(TestHttpServer::unreachableUrl().toString());
        start();
        QUrl opened;
        m_account->oauth().setUrlOpener([&opened](const QUrl &url) {
            opened = url;
            return true;
        });
        m_account->signInWithVrel();
        QVERIFY(m_account->vrelSigningIn());
        QVERIFY(m_waiting);
        if (callback.isEmpty()) {
            m_account->cancelVrelSignIn();
        } else {
            callback.replace("STATE", QUrlQuery(opened).queryItemValue("state"));
            std::exchange(m_waiting, nullptr)(QUrl("ondel://callback?" + callback));
        }
        QTRY_VERIFY(!m_account->vrelSigningIn());
        QCOMPARE(m_account->flowError(), error);
        const bool signedIn = error.isEmpty() && !callback.isEmpty();
        QCOMPARE(m_account->isSignedIn(), signedIn);
        if (signedIn) {
            QCOMPARE(Keychain::string(item(AccountService::vrelKeyAccount)), std::optional<QString>("vk-1"));
            QCOMPARE(Keychain::string(item(AccountService::vrelEmailAccount)), std::optional<QString>("gw@example.com"));
            QCOMPARE(m_account->vrelBalance(), std::optional<double>(3.5));
            QCOMPARE(m_account->modelCredentials()->token, QStringLiteral("vk-1"));
        }
        QCOMPARE(m_log->contains(QStringLiteral("[Ondel] Signed in with Vrel as gw@example.com")), signedIn);
    }

    void sharesWithTheRightBearer_data()
    {
        QTest::addColumn<QStringList>("stored"); // session, gateway key, own key
        QTest::addColumn<QByteArray>("bearer"); // empty: no request
        QTest::addColumn<QString>("email");
        QTest::addColumn<QString>("result");
        const QString link = "https://ondel.app/s/s1";
        QTest::newRow("session first, no email") << QStringList{"sess-1", "vk-1", ""} << QByteArray("Bearer sess-1") << "" << link;
        QTest::newRow("gateway key with its email") << QStringList{"", "vk-1", ""} << QByteArray("Bearer vk-1") << "gw@example.com" << link;
        QTest::newRow("an own key never shares") << QStringList{"", "", "own-key"} << QByteArray() << ""
                                                 << "Sign in (Settings → Account) to share notes.";
    }
    void sharesWithTheRightBearer()
    {
        QFETCH(QStringList, stored);
        QFETCH(QByteArray, bearer);
        QFETCH(QString, email);
        QFETCH(QString, result);
        keep({stored[0], stored[1], "gw@example.com", stored[2]});
        start();
        std::optional<NotesPublisher::Outcome> outcome;
        m_account->publish({"Standup", "notes", m_clock.now(), 61.5}, this,
                           [&](const NotesPublisher::Outcome &o) { outcome = o; });
        QTRY_VERIFY(outcome);
        QCOMPARE(outcome->url.value_or(outcome->error), result);
        const QList<TestHttpServer::Request> shares = requestsTo("/v1/shares");
        QCOMPARE(shares.size(), bearer.isEmpty() ? 0 : 1);
        if (!bearer.isEmpty()) {
            QCOMPARE(shares[0].header("authorization"), bearer);
            QCOMPARE(bodyOf(shares[0]).value("email").toString(), email);
            QCOMPARE(bodyOf(shares[0]).contains("email"), !email.isEmpty());
        }
    }

    // A keyring that keeps the reads waiting (its unlock prompt up) holds nothing on the main
    // thread; what needs to know who the user is waits for the answer, and a sign-in link that
    // came meanwhile lands on top of the stored session, not under it.
    void keyringThatAnswersLate()
    {
        keep({"sess-stored"});
        m_secrets->holdKeyring(true);
        startReading();
        bool ticked = false;
        QTimer::singleShot(0, this, [&ticked] { ticked = true; });
        QTRY_VERIFY(ticked); // the main thread's loop runs on
        QVERIFY(!m_account->isLoaded() && !m_account->isSignedIn());
        std::optional<bool> credentialsAtStart;
        m_account->whenCredentialsKnown(this, [&] { credentialsAtStart = m_account->modelCredentials().has_value(); });
        m_account->handleOpenURL(QUrl("ondel://auth?token=l1nk"));
        m_account->refresh();
        QCoreApplication::processEvents();
        QCOMPARE(m_account->flow(), Flow::Idle);
        QCOMPARE(m_cloud->requestCount(), 0);
        QVERIFY(!credentialsAtStart);

        m_secrets->holdKeyring(false);
        QTRY_VERIFY(m_account->isLoaded());
        QCOMPARE(credentialsAtStart, std::optional<bool>(true));
        QTRY_COMPARE(m_account->sessionToken(), std::optional<QString>("sess-1"));
        QCOMPARE(bodyOf(requestsTo("/v1/auth/verify").constFirst()), QJsonObject({{"token", "l1nk"}}));
        QCOMPARE(Keychain::string(item(AccountService::sessionTokenAccount)), std::optional<QString>("sess-1"));
        QTRY_VERIFY(m_account->hasAccount());
        QCOMPARE(requestsTo("/v1/me").constFirst().header("authorization"), QByteArray("Bearer sess-stored")); // the refresh asked first
    }

    void blankOwnKeyIsDroppedAtStart()
    {
        keep({{}, {}, {}, "  \n"});
        start();
        QVERIFY(!m_account->hasByoKey());
        QCOMPARE(m_account->modelCredentials(), std::nullopt);
        QCOMPARE(Keychain::string(item(AccountService::byoKeyAccount)), std::nullopt);
    }
};

ONDEL_TEST_MAIN(TestAccountService)

#include "tst_accountservice.moc"
