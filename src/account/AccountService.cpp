#include "AccountService.h"

#include "GatewayBalance.h"
#include "Keychain.h"
#include "KeychainStatus.h"
#include "Log.h"
#include "QueryItems.h"
#include "ServiceOrigins.h"
#include "Settings.h"

#include <QEventLoop>
#include <QNetworkAccessManager>
#include <QPointer>

using namespace std::chrono_literals;

namespace {

QString item(const char *name)
{
    return QString::fromLatin1(name);
}

void log(const QString &line)
{
    qCInfo(lcOndel).noquote() << line;
}

bool g_waitsForSecrets = false;

} // namespace

struct AccountService::StoredSecrets
{
    int awaited = 0; // answers still to come
    bool legacyMoved = false;
    std::optional<QString> sessionToken;
    std::optional<QString> byoKey;
    std::optional<QString> vrelKey;
    std::optional<QString> vrelEmail;
};

AccountService::AccountService(Settings &settings, QObject *parent)
    : AccountService(settings, Dependencies{}, parent)
{
}

AccountService::AccountService(Settings &settings, const Dependencies &dependencies, QObject *parent)
    : QObject(parent)
    , m_settings(settings)
    , m_clock(dependencies.clock ? *dependencies.clock : Clock::system())
    , m_ownNetwork(dependencies.network ? nullptr : std::make_unique<QNetworkAccessManager>())
    , m_network(dependencies.network ? *dependencies.network : *m_ownNetwork)
    , m_cloud(m_network, m_settings, m_clock)
    , m_oauth(std::make_unique<VrelOAuth>(m_network, m_settings, m_clock, dependencies.opener))
{
    connect(&KeychainStatus::instance(), &KeychainStatus::usesFileChanged, this, &AccountService::noteSecretStore);
    readSecrets();
    if (g_waitsForSecrets && !m_loaded) {
        QEventLoop loop;
        connect(this, &AccountService::loadedChanged, &loop, &QEventLoop::quit);
        loop.exec(QEventLoop::ExcludeUserInputEvents);
    }
}

AccountService::~AccountService()
{
    stopResendCooldown();
    if (m_readDeadline)
        m_clock.cancel(m_readDeadline);
}

void AccountService::setWaitsForSecrets(bool waits)
{
    g_waitsForSecrets = waits;
}

AccountService &AccountService::shared()
{
    static AccountService *service = new AccountService(Settings::shared());
    return *service;
}

// The old plain-text key is written first, so that the read of the own key behind it finds it.
// The answers may come in any order (a secret taken over from the file is written on the way);
// the last one applies the whole set.
void AccountService::readSecrets()
{
    auto found = std::make_shared<StoredSecrets>();
    std::optional<QString> legacy = m_settings.legacyVrelApiKey();
    if (legacy && legacy->isEmpty())
        legacy.reset(); // an empty one is left where it is
    const auto arrived = [this, found, legacy] {
        if (--found->awaited == 0)
            applySecrets(*found, legacy);
    };
    found->awaited = legacy ? 5 : 4;
    if (legacy) {
        Keychain::setLater(*legacy, item(byoKeyAccount), this, [found, arrived](bool stored) {
            found->legacyMoved = stored;
            arrived();
        });
    }
    using Found = std::optional<QString>;
    const std::pair<const char *, std::optional<QString> StoredSecrets::*> reads[] = {
        {sessionTokenAccount, &StoredSecrets::sessionToken},
        {byoKeyAccount, &StoredSecrets::byoKey},
        {vrelKeyAccount, &StoredSecrets::vrelKey},
        {vrelEmailAccount, &StoredSecrets::vrelEmail},
    };
    for (const auto &[account, field] : reads) {
        Keychain::stringLater(item(account), this, [found, field = field, arrived](const Found &value) {
            (*found).*field = value;
            arrived();
        });
    }
    m_readDeadline = m_clock.schedule(readDeadline, this, [this] {
        m_readDeadline = 0;
        log(QStringLiteral("Keychain did not answer; going on without the stored secrets for now"));
        finishLoading();
    });
}

void AccountService::applySecrets(const StoredSecrets &found, const std::optional<QString> &legacy)
{
    std::optional<QString> unmoved;
    if (legacy && found.legacyMoved) {
        m_settings.removeLegacyVrelApiKey();
        log(QStringLiteral("Migrated Vrel key from UserDefaults to Keychain"));
    } else {
        unmoved = legacy; // kept in the settings until a keychain can take it
    }
    const bool wasSignedIn = isSignedIn();
    const QString email = displayEmail();
    if (!(m_touched & SessionTouched))
        m_sessionToken = found.sessionToken;
    if (!(m_touched & VrelTouched)) {
        m_vrelKey = found.vrelKey;
        m_vrelEmail = found.vrelEmail;
    }
    if (!(m_touched & ByoTouched)) {
        const QString before = m_byoKey;
        m_byoKey = found.byoKey.value_or(unmoved.value_or(QString()));
        // Written back trimmed, and a stored key of blanks goes. Nothing is deleted when nothing
        // was read: a keychain that failed to answer at start must not lose the key it holds.
        if (hasByoKey() || found.byoKey)
            storeByoKey();
        if (m_byoKey != before)
            Q_EMIT byoKeyChanged();
    }
    noteSecretStore();
    if (isSignedIn() != wasSignedIn || hasSession() || hasVrelKey())
        Q_EMIT signedInChanged();
    if (displayEmail() != email)
        Q_EMIT displayEmailChanged();
    finishLoading();
}

void AccountService::finishLoading()
{
    if (m_readDeadline)
        m_clock.cancel(std::exchange(m_readDeadline, 0));
    if (m_loaded)
        return;
    m_loaded = true;
    Q_EMIT loadedChanged();
    // Each may queue no more: the service is loaded now.
    const std::vector<std::function<void()>> waiting = std::exchange(m_afterLoad, {});
    for (const std::function<void()> &action : waiting)
        action();
}

void AccountService::whenLoaded(std::function<void()> action)
{
    if (m_loaded)
        action();
    else
        m_afterLoad.push_back(std::move(action));
}

void AccountService::whenCredentialsKnown(QObject *context, std::function<void()> then)
{
    const QPointer<QObject> guard(context);
    whenLoaded([guard, then = std::move(then)] {
        if (guard)
            then();
    });
}

void AccountService::setByoKey(const QString &key)
{
    if (key == m_byoKey)
        return;
    m_touched |= ByoTouched;
    m_byoKey = key;
    storeByoKey();
    Q_EMIT byoKeyChanged();
}

void AccountService::storeByoKey()
{
    const QString trimmed = m_byoKey.trimmed();
    // Not waited for: each keystroke in the key's field comes here.
    if (trimmed.isEmpty())
        Keychain::removeLater(item(byoKeyAccount));
    else
        Keychain::setLater(trimmed, item(byoKeyAccount)); // a failure is logged there; the key still works this run
}

void AccountService::noteSecretStore()
{
    if (Keychain::usesFile() == m_secretsInFile)
        return;
    m_secretsInFile = Keychain::usesFile();
    Q_EMIT secretsInFileChanged();
}

QString AccountService::flowState() const
{
    switch (m_flow) {
    case Flow::Idle:
        break;
    case Flow::Sending:
        return QStringLiteral("sending");
    case Flow::CodeSent:
        return QStringLiteral("codeSent");
    case Flow::Verifying:
        return QStringLiteral("verifying");
    }
    return QStringLiteral("idle");
}

QString AccountService::displayEmail() const
{
    if (m_vrelEmail)
        return *m_vrelEmail;
    return m_account ? m_account->email : QString();
}

std::optional<ModelCredentials> AccountService::modelCredentials() const
{
    const QString byo = m_byoKey.trimmed();
    if (!byo.isEmpty())
        return ModelCredentials{ServiceOrigins::vrelDirectBase(m_settings), byo, false};
    if (m_vrelKey)
        return ModelCredentials{ServiceOrigins::vrelDirectBase(m_settings), *m_vrelKey, false};
    if (m_sessionToken)
        return ModelCredentials{m_cloud.baseURL(), *m_sessionToken, true};
    return std::nullopt;
}

bool AccountService::allowanceExhausted() const
{
    if (!m_account || hasUnlimitedMinutes())
        return false;
    const AccountInfo::Usage &usage = m_account->usage;
    return usage.quotaMinutes > 0 && usage.minutesUsed >= usage.quotaMinutes;
}

// --- State, each change announced ---

void AccountService::setFlow(Flow flow, const QString &email)
{
    if (flow == m_flow && email == m_flowEmail)
        return;
    m_flow = flow;
    m_flowEmail = email;
    Q_EMIT flowChanged();
}

void AccountService::setFlowError(const QString &error)
{
    if (error == m_flowError)
        return;
    m_flowError = error;
    Q_EMIT flowErrorChanged();
}

void AccountService::setResendCooldown(int seconds)
{
    if (seconds == m_resendCooldown)
        return;
    m_resendCooldown = seconds;
    Q_EMIT resendCooldownChanged();
}

void AccountService::setVrelSigningIn(bool signingIn)
{
    if (signingIn == m_vrelSigningIn)
        return;
    m_vrelSigningIn = signingIn;
    Q_EMIT vrelSigningInChanged();
}

void AccountService::setNeedsReauth(bool needsReauth)
{
    if (needsReauth == m_needsReauth)
        return;
    m_needsReauth = needsReauth;
    Q_EMIT needsReauthChanged();
}

void AccountService::setVrelBalance(std::optional<double> balance)
{
    if (balance == m_vrelBalance)
        return;
    m_vrelBalance = balance;
    Q_EMIT vrelBalanceChanged();
}

void AccountService::setAccount(const std::optional<AccountInfo> &info)
{
    if (!info && !m_account)
        return;
    m_account = info;
    Q_EMIT accountChanged();
    Q_EMIT displayEmailChanged();
}

void AccountService::setSessionToken(const std::optional<QString> &token)
{
    // The item is written or deleted even when memory already agrees: a keychain that failed
    // at start may still hold one.
    m_touched |= SessionTouched;
    if (token)
        Keychain::setLater(*token, item(sessionTokenAccount));
    else
        Keychain::removeLater(item(sessionTokenAccount));
    if (token == m_sessionToken)
        return;
    m_sessionToken = token;
    Q_EMIT signedInChanged();
}

void AccountService::setVrelSignIn(const std::optional<QString> &key, const std::optional<QString> &email)
{
    const bool changed = key != m_vrelKey || email != m_vrelEmail;
    m_touched |= VrelTouched;
    m_vrelKey = key;
    m_vrelEmail = email;
    if (key && email) {
        Keychain::setLater(*key, item(vrelKeyAccount));
        Keychain::setLater(*email, item(vrelEmailAccount));
    } else {
        Keychain::removeLater(item(vrelKeyAccount));
        Keychain::removeLater(item(vrelEmailAccount));
    }
    if (!changed)
        return;
    Q_EMIT signedInChanged();
    Q_EMIT displayEmailChanged();
}

// --- The email sign-in ---

void AccountService::sendSignInEmail(const QString &email)
{
    const QString address = email.trimmed().toLower();
    setFlowError(QString());
    setFlow(Flow::Sending);
    m_cloud.requestSignIn(address, this, [this, address](const CloudResult<EmptyOK> &result) {
        if (!result.ok()) {
            setFlow(Flow::Idle);
            setFlowError(result.error->description());
            return;
        }
        setFlow(Flow::CodeSent, address);
        startResendCooldown();
    });
}

void AccountService::resendSignInEmail()
{
    if (m_flow == Flow::CodeSent)
        sendSignInEmail(m_flowEmail);
}

void AccountService::verifyCode(const QString &code)
{
    if (m_flow != Flow::CodeSent)
        return;
    const QString address = m_flowEmail;
    setFlowError(QString());
    setFlow(Flow::Verifying);
    m_cloud.verify(address, code, this, [this, address](const CloudResult<VerifyResult> &result) {
        if (result.ok()) {
            completeSignIn(result.value);
            return;
        }
        setFlow(Flow::CodeSent, address); // the user may try again
        setFlowError(result.error->description());
    });
}

void AccountService::useDifferentEmail()
{
    setFlow(Flow::Idle);
    setFlowError(QString());
}

void AccountService::startResendCooldown()
{
    stopResendCooldown();
    setResendCooldown(resendCooldownSeconds);
    m_cooldownTimer = m_clock.schedule(1s, this, [this] { tickResendCooldown(); });
}

void AccountService::tickResendCooldown()
{
    m_cooldownTimer = 0;
    if (m_resendCooldown < 1)
        return;
    setResendCooldown(m_resendCooldown - 1);
    if (m_resendCooldown >= 1)
        m_cooldownTimer = m_clock.schedule(1s, this, [this] { tickResendCooldown(); });
}

void AccountService::stopResendCooldown()
{
    if (m_cooldownTimer)
        m_clock.cancel(std::exchange(m_cooldownTimer, 0));
}

void AccountService::handleOpenURL(const QUrl &url)
{
    if (!m_loaded) {
        // A link that signs in must not land on a session about to be read in.
        whenLoaded([this, url] { handleOpenURL(url); });
        return;
    }
    if (url.scheme() != QLatin1String("ondel") || url.host().isEmpty())
        return;
    if (url.host() == QLatin1String("auth"))
        handleAuthDeepLink(url);
}

void AccountService::handleAuthDeepLink(const QUrl &url)
{
    // The first "token" decides, whatever the path. One without a value changes nothing; an
    // empty value is still a value, and the server refuses it.
    const std::optional<QString> token = QueryItems::firstValue(url, QStringLiteral("token"));
    if (!token)
        return;
    log(QStringLiteral("Sign-in link received")); // never the token: it signs the user in
    setFlowError(QString());
    setFlow(Flow::Verifying);
    Q_EMIT signInLinkReceived(*token);
    m_cloud.verify(*token, this, [this](const CloudResult<VerifyResult> &result) {
        if (result.ok()) {
            completeSignIn(result.value);
            return;
        }
        // A link that failed is not tried again: back to the address form.
        setFlow(Flow::Idle);
        setFlowError(result.error->description());
    });
}

void AccountService::completeSignIn(const VerifyResult &result)
{
    if (!m_loaded) {
        whenLoaded([this, result] { completeSignIn(result); });
        return;
    }
    setSessionToken(result.sessionToken);
    setFlow(Flow::Idle);
    setFlowError(QString());
    setNeedsReauth(false);
    stopResendCooldown();
    setResendCooldown(0);
    log(QStringLiteral("Signed in as %1").arg(result.email));
    refresh();
}

// --- The gateway sign-in ---

void AccountService::signInWithVrel()
{
    m_oauth->cancel(); // one still waiting ends first, or its end would clear this one's flag
    setFlowError(QString());
    setVrelSigningIn(true);
    m_oauth->signIn([this](const VrelOAuth::Outcome &outcome) { onVrelSignIn(outcome); });
}

void AccountService::cancelVrelSignIn()
{
    m_oauth->cancel();
}

void AccountService::onVrelSignIn(const VrelOAuth::Outcome &outcome)
{
    if (!m_loaded) {
        whenLoaded([this, outcome] { onVrelSignIn(outcome); });
        return;
    }
    if (const auto *session = std::get_if<VrelOAuth::Session>(&outcome)) {
        setVrelSignIn(session->apiKey, session->email);
        setVrelBalance(session->balance);
        setNeedsReauth(false);
        log(QStringLiteral("Signed in with Vrel as %1").arg(session->email));
    } else if (const auto *error = std::get_if<VrelOAuth::AuthError>(&outcome)) {
        if (error->kind != VrelOAuth::AuthError::Kind::Cancelled)
            setFlowError(error->description());
    } else {
        log(QStringLiteral("Vrel sign-in failed: %1").arg(std::get<VrelOAuth::OtherError>(outcome).text));
        setFlowError(QStringLiteral("Couldn't sign in — try again."));
    }
    setVrelSigningIn(false);
}

// --- Signing out, refreshing ---

void AccountService::signOut()
{
    if (!m_loaded) {
        whenLoaded([this] { signOut(); });
        return;
    }
    // The server is told, but not waited for: signing out works offline too.
    if (m_sessionToken)
        m_cloud.signOut(*m_sessionToken, this, [](const CloudResult<EmptyOK> &) {});
    setSessionToken(std::nullopt);
    setVrelSignIn(std::nullopt, std::nullopt);
    setVrelBalance(std::nullopt);
    setAccount(std::nullopt);
    setFlow(Flow::Idle);
    log(QStringLiteral("Signed out"));
}

void AccountService::refresh()
{
    if (!m_loaded) {
        whenLoaded([this] { refresh(); });
        return;
    }
    if (!m_vrelKey) {
        refreshAccount();
        return;
    }
    const QString key = *m_vrelKey;
    GatewayBalance::fetch(m_network, m_clock, ServiceOrigins::vrelWebBase(m_settings), key, this,
                          [this, key](std::optional<double> balance) {
                              if (balance && m_vrelKey == key)
                                  setVrelBalance(balance);
                              refreshAccount();
                          });
}

void AccountService::refreshVrelBalance()
{
    if (!m_loaded) {
        whenLoaded([this] { refreshVrelBalance(); });
        return;
    }
    if (!m_vrelKey)
        return;
    const QString key = *m_vrelKey;
    GatewayBalance::fetch(m_network, m_clock, ServiceOrigins::vrelWebBase(m_settings), key, this,
                          [this, key](std::optional<double> balance) {
                              if (balance && m_vrelKey == key) // a sign-out meanwhile drops it
                                  setVrelBalance(balance);
                          });
}

void AccountService::refreshAccount()
{
    if (!m_sessionToken)
        return;
    const QString token = *m_sessionToken;
    m_cloud.me(token, this, [this, token](const CloudResult<AccountInfo> &result) { onAccountAnswer(token, result); });
}

void AccountService::onAccountAnswer(const QString &token, const CloudResult<AccountInfo> &result)
{
    if (m_sessionToken != token)
        return; // signed out or in anew meanwhile: the answer is about a session that is gone
    if (result.ok()) {
        setAccount(result.value);
        setNeedsReauth(false);
        return;
    }
    const CloudError &error = *result.error;
    if (error.kind == CloudError::Kind::Api && error.code == QLatin1String("unauthorized")) {
        // Only the session goes; a gateway key keeps the user signed in.
        setSessionToken(std::nullopt);
        setAccount(std::nullopt);
        setNeedsReauth(true);
        return;
    }
    log(QStringLiteral("Account refresh failed: %1").arg(error.description()));
}

// --- Sharing ---

QString AccountService::signInToShareText()
{
    return QStringLiteral("Sign in (Settings → Account) to share notes.");
}

void AccountService::share(const OndelCloud::ShareNotes &notes, QObject *context, ShareDone done)
{
    if (!m_loaded) {
        const QPointer<QObject> guard(context);
        whenLoaded([this, notes, guard, done] {
            if (guard)
                share(notes, guard, done);
        });
        return;
    }
    // The session, else the gateway key with its address; a typed key never publishes.
    std::optional<QString> email;
    QString bearer;
    if (m_sessionToken) {
        bearer = *m_sessionToken;
    } else if (m_vrelKey) {
        bearer = *m_vrelKey;
        email = m_vrelEmail;
    } else {
        QMetaObject::invokeMethod(
            context, [done = std::move(done)] { done(QString(), signInToShareText()); }, Qt::QueuedConnection);
        return;
    }
    m_cloud.share(notes, bearer, email, context, [done = std::move(done)](const CloudResult<ShareResult> &result) {
        if (result.ok())
            done(result.value.url, QString());
        else
            done(QString(), result.error->description());
    });
}

void AccountService::publish(const Notes &notes, QObject *context, NotesPublisher::Done done)
{
    share(OndelCloud::ShareNotes{notes.title, notes.summary, notes.date, notes.duration}, context,
          [done = std::move(done)](const QString &url, const QString &error) {
              done(url.isEmpty() ? NotesPublisher::Outcome{std::nullopt, error} : NotesPublisher::Outcome{url, QString()});
          });
}
