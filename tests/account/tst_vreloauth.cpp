#include "FakeClock.h"
#include "Pkce.h"
#include "Settings.h"
#include "TestEnvironment.h"
#include "TestHttpServer.h"
#include "VrelOAuth.h"

#include <QNetworkAccessManager>
#include <QNetworkReply>
#include <QTemporaryDir>
#include <QTest>
#include <QUrlQuery>

using namespace std::chrono_literals;

// The gateway sign-in against a local authorize and token server. The browser is a double that
// loads the authorize page and hands the page's redirect to "ondel://callback" back to the app.
class TestVrelOAuth : public QObject
{
    Q_OBJECT

    QTemporaryDir m_dir;
    std::unique_ptr<Settings> m_settings;
    std::unique_ptr<TestHttpServer> m_server;
    FakeClock m_clock;
    QNetworkAccessManager m_network;
    std::unique_ptr<VrelOAuth> m_oauth;
    VrelOAuth::CallbackReceiver m_waiting; // the app's router, as far as the callback goes
    QString m_callbackQuery; // what the authorize page answers; "STATE" stands for the state it was given
    TestHttpServer::Reply m_tokenReply;
    std::optional<VrelOAuth::Outcome> m_outcome;

    bool openInBrowser(const QUrl &url)
    {
        QNetworkRequest request(url);
        request.setAttribute(QNetworkRequest::RedirectPolicyAttribute, QNetworkRequest::ManualRedirectPolicy);
        QNetworkReply *reply = m_network.get(request);
        connect(reply, &QNetworkReply::finished, this, [this, reply] {
            reply->deleteLater();
            if (m_waiting)
                std::exchange(m_waiting, nullptr)(QUrl(QString::fromUtf8(reply->rawHeader("Location"))));
        });
        return true;
    }
    void signIn()
    {
        m_outcome.reset();
        m_oauth->signIn([this](const VrelOAuth::Outcome &outcome) { m_outcome = outcome; });
    }
    std::optional<VrelOAuth::AuthError> authError() const
    {
        const auto *error = m_outcome ? std::get_if<VrelOAuth::AuthError>(&*m_outcome) : nullptr;
        return error ? std::optional(*error) : std::nullopt;
    }

private Q_SLOTS:
    void init()
    {
        m_settings = std::make_unique<Settings>(m_dir.filePath(QStringLiteral("settings.json")));
        m_server = std::make_unique<TestHttpServer>();
        m_settings->setVrelWebBase(m_server->url().toString());
        m_callbackQuery = QStringLiteral("code=c0de&state=STATE");
        m_tokenReply = TestHttpServer::Reply::json("{\"api_key\":\"vk-1\",\"email\":\"gw@example.com\",\"balance\":3.5}");
        m_server->setHandler([this](const TestHttpServer::Request &request) {
            if (!request.target.startsWith("/v1/auth/authorize"))
                return m_tokenReply;
            const QString state = QUrlQuery(QUrl(QString::fromUtf8(request.target))).queryItemValue(QStringLiteral("state"));
            QString query = m_callbackQuery;
            query.replace(QStringLiteral("STATE"), state);
            TestHttpServer::Reply reply{302, {{"Location", "ondel://callback" + (query.isEmpty() ? "" : "?" + query.toUtf8())}}, {}};
            return reply;
        });
        m_oauth = std::make_unique<VrelOAuth>(m_network, *m_settings, m_clock, [this](const QUrl &url) { return openInBrowser(url); });
        m_waiting = nullptr;
        m_oauth->setCallbackRoute({[this](VrelOAuth::CallbackReceiver receiver) { m_waiting = std::move(receiver); },
                                   [this] { m_waiting = nullptr; }});
    }

    void asksWithPkce()
    {
        signIn();
        QTRY_VERIFY(m_outcome);
        const auto *session = std::get_if<VrelOAuth::Session>(&*m_outcome);
        QVERIFY(session);
        QCOMPARE(session->apiKey, QStringLiteral("vk-1"));
        QCOMPARE(session->email, QStringLiteral("gw@example.com"));
        QCOMPARE(session->balance, std::optional<double>(3.5));

        const QList<TestHttpServer::Request> requests = m_server->requests();
        QCOMPARE(requests.size(), 2);
        using Items = QList<QPair<QString, QString>>;
        const QUrl authorize(QString::fromUtf8(requests[0].target));
        QCOMPARE(authorize.path(), QStringLiteral("/v1/auth/authorize"));
        const Items asked = QUrlQuery(authorize).queryItems(QUrl::FullyDecoded);
        const QString challenge = asked.value(3).second;
        const QString state = asked.value(5).second;
        QCOMPARE(asked, (Items{{"client_id", "ondel"}, {"redirect_uri", "ondel://callback"}, {"response_type", "code"},
                               {"code_challenge", challenge}, {"code_challenge_method", "S256"}, {"state", state},
                               {"scope", "openid email"}}));
        QCOMPARE(state.size(), 43);

        const TestHttpServer::Request &token = requests[1];
        QCOMPARE(token.method + ' ' + token.target, QByteArray("POST /v1/auth/token"));
        QCOMPARE(token.header("content-type"), QByteArray("application/x-www-form-urlencoded"));
        const Items sent = QUrlQuery(QString::fromLatin1(token.body)).queryItems(QUrl::FullyDecoded);
        const QString verifier = sent.value(2).second;
        QCOMPARE(sent, (Items{{"grant_type", "authorization_code"}, {"code", "c0de"}, {"code_verifier", verifier},
                              {"client_id", "ondel"}, {"redirect_uri", "ondel://callback"}}));
        QCOMPARE(verifier.size(), 86);
        QCOMPARE(Pkce::challenge(verifier), challenge); // the verifier answers the challenge
        QCOMPARE(m_clock.pendingCount(), 0);

        // Each attempt makes a new verifier and state.
        signIn();
        QTRY_VERIFY(m_outcome);
        QVERIFY(m_server->requests()[2].target != requests[0].target);
    }

    void checksTheCallback_data()
    {
        QTest::addColumn<QString>("callback");
        QTest::addColumn<int>("error"); // an AuthError kind
        using Kind = VrelOAuth::AuthError::Kind;
        QTest::newRow("state off by one character") << "code=c0de&state=STATEx" << int(Kind::StateMismatch);
        QTest::newRow("no state") << "code=c0de" << int(Kind::StateMismatch);
        QTest::newRow("a state without value") << "code=c0de&state" << int(Kind::StateMismatch);
        QTest::newRow("an empty code") << "code=&state=STATE" << int(Kind::MissingCode);
        QTest::newRow("a refusal at the gateway") << "error=access_denied&state=STATE" << int(Kind::MissingCode);
    }
    void checksTheCallback()
    {
        QFETCH(QString, callback);
        QFETCH(int, error);
        m_callbackQuery = callback;
        signIn();
        QTRY_VERIFY(m_outcome);
        QCOMPARE(int(authError()->kind), error);
        QCOMPARE(m_server->requestCount(), 1); // the authorize page only: no token asked for
    }

    void readsTheTokenAnswer_data()
    {
        QTest::addColumn<int>("status");
        QTest::addColumn<QByteArray>("body");
        QTest::addColumn<QString>("key"); // empty: a failure with `text`
        QTest::addColumn<QString>("text");
        QTest::newRow("access token only") << 200 << QByteArray("{\"access_token\":\"at-2\",\"email\":\"gw@example.com\"}") << "at-2" << "";
        QTest::newRow("an empty api_key does not fall through")
            << 200 << QByteArray("{\"api_key\":\"\",\"access_token\":\"at-2\",\"email\":\"e\"}") << "" << "Sign-in failed (200). Please try again.";
        QTest::newRow("no email") << 200 << QByteArray("{\"api_key\":\"vk\"}") << "" << "Sign-in failed (200). Please try again.";
        QTest::newRow("balance as text") << 200 << QByteArray("{\"api_key\":\"vk\",\"email\":\"e\",\"balance\":\"3\"}") << ""
                                         << "Sign-in failed (200). Please try again.";
        QTest::newRow("not JSON") << 200 << QByteArray("<html>") << "" << "Sign-in failed (200). Please try again.";
        QTest::newRow("refused") << 400 << QByteArray("invalid_grant") << "" << "Sign-in failed (400). Please try again.";
    }
    void readsTheTokenAnswer()
    {
        QFETCH(int, status);
        QFETCH(QByteArray, body);
        QFETCH(QString, key);
        QFETCH(QString, text);
        m_tokenReply = TestHttpServer::Reply::json(body, status);
        signIn();
        QTRY_VERIFY(m_outcome);
        const auto *session = std::get_if<VrelOAuth::Session>(&*m_outcome);
        QCOMPARE(session ? session->apiKey : QString(), key);
        if (session)
            QCOMPARE(session->balance, std::nullopt);
        QCOMPARE(authError() ? authError()->description() : QString(), text);
        if (status != 200)
            QCOMPARE(authError()->body, QString::fromUtf8(body)); // carried, for nobody to show
    }

    void endsWhenTheUserGivesUp()
    {
        m_callbackQuery = QStringLiteral("code=c0de&state=STATE");
        m_oauth->setUrlOpener([](const QUrl &) { return true; }); // the browser stays open
        signIn();
        QVERIFY(m_waiting);
        m_oauth->cancel();
        QCOMPARE(authError()->kind, VrelOAuth::AuthError::Kind::Cancelled);
        QCOMPARE(authError()->description(), QStringLiteral("Sign-in cancelled."));
        QVERIFY(!m_waiting);
        QVERIFY(!m_oauth->isRunning());
    }

    void otherFailures()
    {
        // The exchange's 60 seconds pass on the fake clock.
        m_tokenReply = TestHttpServer::Reply::held();
        signIn();
        QTRY_COMPARE(m_server->requestCount(), 2); // the authorize page, then the token
        m_clock.advance(59s);
        settle();
        QVERIFY(!m_outcome);
        m_clock.advance(1s);
        QTRY_VERIFY(m_outcome);
        QCOMPARE(std::get<VrelOAuth::OtherError>(*m_outcome).text, QStringLiteral("The request timed out."));

        m_oauth->setUrlOpener([](const QUrl &) { return false; });
        signIn();
        QVERIFY(std::holds_alternative<VrelOAuth::OtherError>(*m_outcome));
        QVERIFY(!m_waiting);

        m_oauth->setCallbackRoute({});
        signIn();
        QVERIFY(std::holds_alternative<VrelOAuth::OtherError>(*m_outcome));
    }
};

ONDEL_TEST_MAIN(TestVrelOAuth)

#include "tst_vreloauth.moc"
