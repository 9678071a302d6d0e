#include "AccountService.h"

#include "Keychain.h"
#include "Log.h"
#include "ServiceOrigins.h"
#include "Settings.h"

#include <QUrlQuery>

namespace {

QString account(const char *name)
{
    return QString::fromLatin1(name);
}

} // namespace

AccountService::AccountService(Settings &settings, QObject *parent)
    : QObject(parent)
    , m_settings(settings)
{
    m_sessionToken = Keychain::string(account(sessionTokenAccount));
    const std::optional<QString> unmoved = migrateLegacyKey();
    m_byoKey = Keychain::string(account(byoKeyAccount)).value_or(unmoved.value_or(QString()));
    // Written back trimmed. A blank one deletes nothing here: a keychain that could not be read
    // at start must not lose the key it holds.
    if (hasByoKey())
        storeByoKey();
    m_vrelKey = Keychain::string(account(vrelKeyAccount));
    m_vrelEmail = Keychain::string(account(vrelEmailAccount));
}

AccountService &AccountService::shared()
{
    static AccountService *service = new AccountService(Settings::shared());
    return *service;
}

void AccountService::setByoKey(const QString &key)
{
    if (key == m_byoKey)
        return;
    m_byoKey = key;
    storeByoKey();
    Q_EMIT byoKeyChanged();
}

void AccountService::storeByoKey()
{
    const QString trimmed = m_byoKey.trimmed();
    if (trimmed.isEmpty())
        Keychain::remove(account(byoKeyAccount));
    else
        Keychain::set(trimmed, account(byoKeyAccount)); // a failure is logged there; the key still works this run
}

std::optional<QString> AccountService::migrateLegacyKey()
{
    const std::optional<QString> legacy = m_settings.legacyVrelApiKey();
    if (!legacy || legacy->isEmpty())
        return std::nullopt;
    if (!Keychain::set(*legacy, account(byoKeyAccount)))
        return legacy; // kept in the settings until a keychain can take it
    m_settings.removeLegacyVrelApiKey();
    qCInfo(lcOndel).noquote() << QStringLiteral("Migrated Vrel key from UserDefaults to Keychain");
    return std::nullopt;
}

std::optional<ModelCredentials> AccountService::modelCredentials() const
{
    const QString byo = m_byoKey.trimmed();
    if (!byo.isEmpty())
        return ModelCredentials{ServiceOrigins::vrelDirectBase(m_settings), byo, false};
    if (m_vrelKey)
        return ModelCredentials{ServiceOrigins::vrelDirectBase(m_settings), *m_vrelKey, false};
    if (m_sessionToken)
        return ModelCredentials{ServiceOrigins::ondelCloudBase(m_settings), *m_sessionToken, true};
    return std::nullopt;
}

void AccountService::handleOpenURL(const QUrl &url)
{
    if (url.scheme().compare(QLatin1String("ondel"), Qt::CaseInsensitive) != 0 || url.host() != QLatin1String("auth"))
        return;
    // The first "token" decides, whatever the path; a link without a value changes nothing.
    const QString token = QUrlQuery(url).queryItemValue(QStringLiteral("token"), QUrl::FullyDecoded);
    if (!token.isEmpty())
        handleAuthDeepLink(token);
}

void AccountService::handleAuthDeepLink(const QString &token)
{
    qCInfo(lcOndel).noquote() << QStringLiteral("Sign-in link received"); // never the token: it signs the user in
    Q_EMIT signInLinkReceived(token);
}
