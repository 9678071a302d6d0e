#include "ServiceOrigins.h"

#include "Settings.h"

namespace {

QUrl pick(const std::optional<QString> &override, const char *builtIn)
{
    return ServiceOrigins::validOverride(override).value_or(QUrl(QString::fromLatin1(builtIn)));
}

} // namespace

std::optional<QUrl> ServiceOrigins::validOverride(const std::optional<QString> &value)
{
    if (!value)
        return std::nullopt;
    const QUrl url(value->trimmed(), QUrl::StrictMode);
    const QString scheme = url.scheme();
    if (!url.isValid() || url.host().isEmpty() || (scheme != QLatin1String("http") && scheme != QLatin1String("https")))
        return std::nullopt;
    return url;
}

QUrl ServiceOrigins::vrelDirectBase(const Settings &settings)
{
    return pick(settings.vrelDirectBase(), ONDEL_VREL_DIRECT_BASE);
}

QUrl ServiceOrigins::vrelWebBase(const Settings &settings)
{
    return pick(settings.vrelWebBase(), ONDEL_VREL_WEB_BASE);
}

QUrl ServiceOrigins::ondelCloudBase(const Settings &settings)
{
    return pick(settings.ondelCloudBase(), ONDEL_CLOUD_BASE);
}

QUrl ServiceOrigins::ondelWebBase(const Settings &settings)
{
    return pick(settings.ondelWebBase(), ONDEL_WEB_BASE);
}
