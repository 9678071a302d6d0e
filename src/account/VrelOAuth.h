#pragma once

#include "Clock.h"

#include <QObject>
#include <QPointer>
#include <QUrl>

#include <chrono>
#include <functional>
#include <optional>
#include <variant>

class QNetworkAccessManager;
class QNetworkReply;
class Settings;

// Signs the user in to the Vrel gateway in their browser and brings back a gateway key with the
// account's email and balance: an authorization-code flow with PKCE for a public client, no
// secret. It keeps nothing; storing the result is the account's business. Main thread only.
//
// The browser sends the user back to "ondel://callback", which the desktop hands to the running
// app; the app's router passes it on through the CallbackRoute given here.
class VrelOAuth : public QObject
{
    Q_OBJECT

public:
    static constexpr auto clientId = "ondel";
    static constexpr auto redirectUri = "ondel://callback";
    static constexpr auto scope = "openid email";
    static constexpr std::chrono::seconds exchangeTimeout{60};

    struct Session
    {
        QString apiKey;
        QString email;
        std::optional<double> balance; // dollars, if the gateway gave it
    };

    struct AuthError
    {
        enum class Kind {
            Server, // the token endpoint refused, or gave nothing usable
            Cancelled, // the user gave up
            StateMismatch, // the callback's state is missing or wrong
            MissingCode, // no code in the callback
        };
        Kind kind = Kind::Server;
        int status = 0; // Server
        QString body; // Server: carried, never shown

        QString description() const;
        bool operator==(const AuthError &) const = default;
    };

    // A failure that is none of the above (the transport, no browser): its text is for the log.
    struct OtherError
    {
        QString text;
    };

    using Outcome = std::variant<Session, AuthError, OtherError>;
    using Done = std::function<void(const Outcome &outcome)>;

    // Opens an address with the system; false when it could not.
    using UrlOpener = std::function<bool(const QUrl &url)>;
    using CallbackReceiver = std::function<void(const QUrl &callback)>;
    // Where the app's "ondel://callback" links go while a sign-in waits: `await` hands the next
    // one to the receiver, `cancel` stops waiting.
    struct CallbackRoute
    {
        std::function<void(CallbackReceiver receiver)> await;
        std::function<void()> cancel;
    };

    // Without an opener, addresses go to the desktop's (UrlOpening).
    VrelOAuth(QNetworkAccessManager &network, const Settings &settings, Clock &clock, UrlOpener opener = {},
              QObject *parent = nullptr);
    ~VrelOAuth() override;

    void setCallbackRoute(CallbackRoute route);
    void setUrlOpener(UrlOpener opener);

    // Opens the browser at the authorize page and answers once through `done`. A sign-in that
    // is still running ends as cancelled: the new one replaces it.
    void signIn(Done done);
    // The user gave up: a running sign-in ends as cancelled.
    void cancel();
    bool isRunning() const { return bool(m_done); }

    // The authorize page for a challenge and state, and the token endpoint, at the web origin.
    QUrl authorizeUrl(const QString &challenge, const QString &state) const;
    QUrl tokenUrl() const;
    // The code out of a callback, or why there is none; the state is checked first.
    static std::variant<QString, AuthError> codeFrom(const QUrl &callback, const QString &expectedState);
    // What a token endpoint's answer of `status` with `body` comes to.
    static Outcome tokenOutcome(int status, const QByteArray &body);
    // The form body of the token request.
    static QByteArray tokenRequestBody(const QString &code, const QString &verifier);

private:
    void onCallback(const QUrl &callback);
    void exchange(const QString &code);
    void onExchanged(QNetworkReply *reply, bool timedOut);
    void stopWaiting();
    void finish(const Outcome &outcome);

    QNetworkAccessManager &m_network;
    const Settings &m_settings;
    Clock &m_clock;
    UrlOpener m_opener;
    CallbackRoute m_route;
    Done m_done;
    QString m_verifier;
    QString m_state;
    quint64 m_attempt = 0; // a callback meant for a replaced sign-in is dropped
    QPointer<QNetworkReply> m_exchange;
};
