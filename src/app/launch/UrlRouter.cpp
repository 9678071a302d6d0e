#include "UrlRouter.h"

#include "LaunchUrls.h"
#include "Log.h"

#include <utility>

UrlRouter::UrlRouter(Receiver account, QObject *parent)
    : QObject(parent)
    , m_account(std::move(account))
{
}

void UrlRouter::awaitCallback(Receiver session)
{
    m_callback = std::move(session);
}

void UrlRouter::cancelCallback()
{
    m_callback = nullptr;
}

void UrlRouter::route(const QUrl &url)
{
    if (!LaunchUrls::isOndelUrl(url))
        return;
    // Only the names of known places reach the log: the rest of a link may be a secret.
    const QString host = url.host();
    if (host == QLatin1String("callback")) {
        if (!m_callback) {
            qCInfo(lcOndel).noquote() << QStringLiteral("Dropped URL ondel://callback: no sign-in is waiting for it");
            return;
        }
        qCInfo(lcOndel).noquote() << QStringLiteral("Opened URL ondel://callback");
        const Receiver session = std::exchange(m_callback, nullptr);
        session(url);
        return;
    }
    qCInfo(lcOndel).noquote() << (host == QLatin1String("auth") ? QStringLiteral("Opened URL ondel://auth")
                                                                 : QStringLiteral("Opened an ondel URL of an unknown kind"));
    m_account(url);
}
