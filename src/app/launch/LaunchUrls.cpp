#include "LaunchUrls.h"

QList<QUrl> LaunchUrls::among(const QStringList &arguments)
{
    QList<QUrl> urls;
    for (const QString &argument : arguments) {
        if (argument.size() > maxLength)
            continue;
        const QUrl url(argument, QUrl::StrictMode);
        if (url.isValid() && isOndelUrl(url))
            urls.append(url);
    }
    return urls;
}

bool LaunchUrls::isOndelUrl(const QUrl &url)
{
    return url.scheme().compare(QLatin1String("ondel"), Qt::CaseInsensitive) == 0;
}
