#pragma once

#include "CloudRecords.h"
#include "Clock.h"
#include "ModelCredentials.h"
#include "NotesPublisher.h"
#include "OndelCloud.h"
#include "VrelOAuth.h"

#include <QDateTime>
#include <QObject>
#include <QString>
#include <QUrl>

#include <chrono>
#include <functional>
#include <memory>
#include <optional>
#include <vector>

class QNetworkAccessManager;
class Settings;

// Who the user is to the outside world, and how a model is reached: the user's own key (the
// BYO key), a gateway key from signing in with Vrel, or the Ondel account's session from the
// email sign-in. The secrets live in the keychain; this object keeps them in memory too, so a
// secret that could not be stored still works for this run. Owns the state of the sign-in
// screens. Main thread only.
//
// The secrets are read on the keychain's thread, which may wait on a keyring's unlock prompt,
// so the service starts unloaded, "signed out" only in appearance: whatever acts on who the user
// is (a sign-in link, a sign-in's outcome, signing out, a refresh, a share, a recording's start
// through `whenCredentialsKnown`) waits for the read, in the order it came. A key typed meanwhile
// wins over the one read.
class AccountService : public QObject, public CredentialsSource, public NotesPublisher
{
    Q_OBJECT
    // The email sign-in.
    Q_PROPERTY(Flow flow READ flow NOTIFY flowChanged)
    Q_PROPERTY(QString flowState READ flowState NOTIFY flowChanged)
    Q_PROPERTY(QString flowEmail READ flowEmail NOTIFY flowChanged)
    Q_PROPERTY(QString flowError READ flowError NOTIFY flowErrorChanged)
    Q_PROPERTY(int resendCooldown READ resendCooldown NOTIFY resendCooldownChanged)
    // The gateway sign-in.
    Q_PROPERTY(bool vrelSigningIn READ vrelSigningIn NOTIFY vrelSigningInChanged)
    // Who is signed in.
    Q_PROPERTY(bool isSignedIn READ isSignedIn NOTIFY signedInChanged)
    Q_PROPERTY(bool hasSession READ hasSession NOTIFY signedInChanged)
    Q_PROPERTY(bool hasVrelKey READ hasVrelKey NOTIFY signedInChanged)
    Q_PROPERTY(bool canShare READ canShare NOTIFY signedInChanged)
    Q_PROPERTY(bool needsReauth READ needsReauth NOTIFY needsReauthChanged)
    Q_PROPERTY(QString displayEmail READ displayEmail NOTIFY displayEmailChanged)
    Q_PROPERTY(bool hasVrelBalance READ hasVrelBalance NOTIFY vrelBalanceChanged)
    Q_PROPERTY(double vrelBalance READ vrelBalanceValue NOTIFY vrelBalanceChanged)
    // The account record.
    Q_PROPERTY(bool hasAccount READ hasAccount NOTIFY accountChanged)
    Q_PROPERTY(double minutesUsed READ minutesUsed NOTIFY accountChanged)
    Q_PROPERTY(double quotaMinutes READ quotaMinutes NOTIFY accountChanged)
    Q_PROPERTY(bool hasUnlimitedMinutes READ hasUnlimitedMinutes NOTIFY accountChanged)
    Q_PROPERTY(bool allowanceExhausted READ allowanceExhausted NOTIFY accountChanged)
    // The user's own key.
    Q_PROPERTY(QString byoKey READ byoKey WRITE setByoKey NOTIFY byoKeyChanged)
    Q_PROPERTY(bool hasByoKey READ hasByoKey NOTIFY byoKeyChanged)
    // No keyring answered: the secrets are kept in a file of the user's own.
    Q_PROPERTY(bool secretsInFile READ secretsInFile NOTIFY secretsInFileChanged)
    // The stored secrets have been read; until then nobody is known to be signed in or out.
    Q_PROPERTY(bool loaded READ isLoaded NOTIFY loadedChanged)

public:
    enum class Flow { Idle, Sending, CodeSent, Verifying };
    Q_ENUM(Flow)

    // Keychain accounts.
    static constexpr auto sessionTokenAccount = "ondel-session-token";
    static constexpr auto vrelKeyAccount = "vrel-oauth-key";
    static constexpr auto vrelEmailAccount = "vrel-oauth-email";
    static constexpr auto byoKeyAccount = "vrel-byo-key";

    static constexpr int resendCooldownSeconds = 60;
    // A keyring that answers none of the reads by then is taken as empty for the moment.
    static constexpr std::chrono::seconds readDeadline{120};

    // Parts a test puts in place of the real ones; null keeps the real part.
    struct Dependencies
    {
        QNetworkAccessManager *network = nullptr; // null: one of its own
        Clock *clock = nullptr;
        VrelOAuth::UrlOpener opener; // empty: the desktop's browser
    };

    // Starts reading the secrets, and first moves a key that an older version kept in the settings.
    explicit AccountService(Settings &settings, QObject *parent = nullptr);
    AccountService(Settings &settings, const Dependencies &dependencies, QObject *parent = nullptr);
    ~AccountService() override;

    static AccountService &shared();
    // For a process without a window (the command line): the next service made waits in its
    // constructor, in an event loop of its own, until the secrets are read.
    static void setWaitsForSecrets(bool waits);

    bool isLoaded() const { return m_loaded; }
    bool credentialsKnown() const override { return m_loaded; }
    // Runs `then` once the secrets are read: at once if they are; never if `context` goes first.
    void whenCredentialsKnown(QObject *context, std::function<void()> then) override;

    const OndelCloud &cloud() const { return m_cloud; }
    // The app routes "ondel://callback" to it (VrelOAuth::setCallbackRoute).
    VrelOAuth &oauth() { return *m_oauth; }

    Flow flow() const { return m_flow; }
    // "idle", "sending", "codeSent" or "verifying".
    QString flowState() const;
    // The normalised address while the code is awaited; empty otherwise.
    QString flowEmail() const { return m_flowEmail; }
    // Empty for none.
    QString flowError() const { return m_flowError; }
    int resendCooldown() const { return m_resendCooldown; }
    bool vrelSigningIn() const { return m_vrelSigningIn; }
    bool needsReauth() const { return m_needsReauth; }

    // As typed, untrimmed; what is stored is the trimmed key, and a blank one deletes it.
    QString byoKey() const { return m_byoKey; }
    void setByoKey(const QString &key);
    bool hasByoKey() const { return !m_byoKey.trimmed().isEmpty(); }
    bool secretsInFile() const { return m_secretsInFile; }

    // A gateway key or a session; the BYO key does not count.
    bool isSignedIn() const { return m_sessionToken || m_vrelKey; }
    bool hasSession() const { return m_sessionToken.has_value(); }
    bool hasVrelKey() const { return m_vrelKey.has_value(); }
    // Notes can be published with the session or the gateway key, never with the BYO key.
    bool canShare() const { return isSignedIn(); }
    std::optional<QString> sessionToken() const { return m_sessionToken; }
    std::optional<QString> vrelKey() const { return m_vrelKey; }
    std::optional<QString> vrelEmail() const { return m_vrelEmail; }
    std::optional<double> vrelBalance() const { return m_vrelBalance; }
    bool hasVrelBalance() const { return m_vrelBalance.has_value(); }
    double vrelBalanceValue() const { return m_vrelBalance.value_or(0.0); }
    // The gateway's email, else the account's; empty for none.
    QString displayEmail() const;

    std::optional<AccountInfo> account() const { return m_account; }
    bool hasAccount() const { return m_account.has_value(); }
    double minutesUsed() const { return m_account ? m_account->usage.minutesUsed : 0.0; }
    double quotaMinutes() const { return m_account ? m_account->usage.quotaMinutes : 0.0; }
    bool hasUnlimitedMinutes() const { return m_account && m_account->usage.unlimited; }

    // The user's own key, then the gateway key, then the account; asked anew at every call.
    std::optional<ModelCredentials> modelCredentials() const override;
    // Only the account has an allowance, and without its record nothing is known to be used up.
    bool allowanceExhausted() const override;

    // Asks the cloud to mail a sign-in link and a code to the address, trimmed and in lower case.
    Q_INVOKABLE void sendSignInEmail(const QString &email);
    // "Resend": the same address again, while the code is awaited.
    Q_INVOKABLE void resendSignInEmail();
    // Checks the typed code; does nothing unless a code is awaited.
    Q_INVOKABLE void verifyCode(const QString &code);
    // "Use a different email": back to the address form.
    Q_INVOKABLE void useDifferentEmail();
    // Opens the gateway's sign-in in the browser; the answer comes back through "ondel://callback".
    Q_INVOKABLE void signInWithVrel();
    // The user gave up waiting for the browser: no message.
    Q_INVOKABLE void cancelVrelSignIn();
    // Ends the session and the gateway sign-in, offline too; the BYO key stays.
    Q_INVOKABLE void signOut();
    // The gateway balance, then the account record.
    Q_INVOKABLE void refresh();
    Q_INVOKABLE void refreshVrelBalance();

    // Publishes notes behind a public link, with the session, else the gateway key.
    using ShareDone = std::function<void(const QString &url, const QString &error)>;
    void share(const OndelCloud::ShareNotes &notes, QObject *context, ShareDone done);
    // Notes shared from a meeting's screen.
    bool canPublish() const override { return canShare(); }
    void publish(const Notes &notes, QObject *context, NotesPublisher::Done done) override;
    static QString signInToShareText();

    // Every "ondel" link the desktop opens in the app except the browser sign-in's callback:
    // "ondel://auth?token=..." is a sign-in link; anything else is dropped in silence.
    void handleOpenURL(const QUrl &url);
    // A sign-in link from the email: its first "token" is verified, in any state of the flow.
    void handleAuthDeepLink(const QUrl &url);

Q_SIGNALS:
    void flowChanged();
    void flowErrorChanged();
    void resendCooldownChanged();
    void vrelSigningInChanged();
    void signedInChanged();
    void needsReauthChanged();
    void displayEmailChanged();
    void vrelBalanceChanged();
    void accountChanged();
    void byoKeyChanged();
    void secretsInFileChanged();
    void loadedChanged();
    // A sign-in link with a token arrived, and its check has started.
    void signInLinkReceived(const QString &token);

private:
    struct StoredSecrets;
    // Secrets set in this run before the read arrived: they stand over what is read.
    enum Touched { SessionTouched = 1, VrelTouched = 2, ByoTouched = 4 };

    void readSecrets();
    void applySecrets(const StoredSecrets &found, const std::optional<QString> &legacy);
    void finishLoading();
    // Runs `action` now when the secrets are read, else after them, in the order asked.
    void whenLoaded(std::function<void()> action);
    void storeByoKey();
    // Where the keychain put the secrets at its last call; also told when that changes.
    void noteSecretStore();

    void setFlow(Flow flow, const QString &email = {});
    void setFlowError(const QString &error);
    void setResendCooldown(int seconds);
    void setVrelSigningIn(bool signingIn);
    void setNeedsReauth(bool needsReauth);
    void setVrelBalance(std::optional<double> balance);
    void setAccount(const std::optional<AccountInfo> &account);
    void setSessionToken(const std::optional<QString> &token);
    void setVrelSignIn(const std::optional<QString> &key, const std::optional<QString> &email);

    void startResendCooldown();
    void stopResendCooldown();
    void tickResendCooldown();
    void completeSignIn(const VerifyResult &result);
    void onVrelSignIn(const VrelOAuth::Outcome &outcome);
    void refreshAccount();
    void onAccountAnswer(const QString &token, const CloudResult<AccountInfo> &result);

    Settings &m_settings;
    Clock &m_clock;
    std::unique_ptr<QNetworkAccessManager> m_ownNetwork;
    QNetworkAccessManager &m_network;
    OndelCloud m_cloud;
    std::unique_ptr<VrelOAuth> m_oauth;

    Flow m_flow = Flow::Idle;
    QString m_flowEmail;
    QString m_flowError;
    bool m_vrelSigningIn = false;
    int m_resendCooldown = 0;
    Clock::TimerId m_cooldownTimer = 0;
    std::optional<AccountInfo> m_account;
    bool m_needsReauth = false;
    QString m_byoKey;
    std::optional<QString> m_sessionToken;
    std::optional<QString> m_vrelKey;
    std::optional<QString> m_vrelEmail;
    std::optional<double> m_vrelBalance;
    bool m_secretsInFile = false;
    bool m_loaded = false;
    int m_touched = 0;
    Clock::TimerId m_readDeadline = 0;
    std::vector<std::function<void()>> m_afterLoad;
};
