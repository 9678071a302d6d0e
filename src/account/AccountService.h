#pragma once

#include "ModelCredentials.h"

#include <QObject>
#include <QString>
#include <QUrl>

#include <optional>

class Settings;

// Who the user is to the outside world, and how a model is reached: the user's own key (the
// BYO key), a gateway key from signing in with Vrel, or the Ondel account's session. The secrets
// live in the keychain; this object keeps them in memory too, so a secret that could not be
// stored still works for this run. Main thread only.
//
// The sign-in flows that fill the gateway key and the session come later; their places in the
// precedence are already taken here.
class AccountService : public QObject, public CredentialsSource
{
    Q_OBJECT
    Q_PROPERTY(QString byoKey READ byoKey WRITE setByoKey NOTIFY byoKeyChanged)
    Q_PROPERTY(bool hasByoKey READ hasByoKey NOTIFY byoKeyChanged)
    Q_PROPERTY(bool isSignedIn READ isSignedIn NOTIFY signedInChanged)

public:
    // Keychain accounts.
    static constexpr auto sessionTokenAccount = "ondel-session-token";
    static constexpr auto vrelKeyAccount = "vrel-oauth-key";
    static constexpr auto vrelEmailAccount = "vrel-oauth-email";
    static constexpr auto byoKeyAccount = "vrel-byo-key";

    // Reads the secrets, and first moves a key that an older version kept in the settings.
    explicit AccountService(Settings &settings, QObject *parent = nullptr);

    static AccountService &shared();

    // As typed, untrimmed; what is stored is the trimmed key, and a blank one deletes it.
    QString byoKey() const { return m_byoKey; }
    void setByoKey(const QString &key);
    bool hasByoKey() const { return !m_byoKey.trimmed().isEmpty(); }

    // A gateway key or a session; the BYO key does not count.
    bool isSignedIn() const { return m_sessionToken || m_vrelKey; }
    std::optional<QString> vrelEmail() const { return m_vrelEmail; }

    // The user's own key, then the gateway key, then the account; asked anew at every call.
    std::optional<ModelCredentials> modelCredentials() const override;
    // Only the account has an allowance, and without its record nothing is known to be used up.
    bool allowanceExhausted() const override { return false; }

    // Every "ondel" link the desktop opens in the app except the browser sign-in's callback:
    // "ondel://auth?token=..." is a sign-in link; anything else is dropped in silence.
    void handleOpenURL(const QUrl &url);
    // A sign-in link from the email, by its token.
    void handleAuthDeepLink(const QString &token);

Q_SIGNALS:
    void byoKeyChanged();
    void signedInChanged();
    // The token still waits for its verification, which comes with the sign-in flow.
    void signInLinkReceived(const QString &token);

private:
    // The old key, when it could not be moved into the keychain: it stays where it was.
    std::optional<QString> migrateLegacyKey();
    void storeByoKey();

    Settings &m_settings;
    QString m_byoKey;
    std::optional<QString> m_sessionToken;
    std::optional<QString> m_vrelKey;
    std::optional<QString> m_vrelEmail;
};
