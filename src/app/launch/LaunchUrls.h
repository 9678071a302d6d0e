#pragma once

#include <QList>
#include <QStringList>
#include <QUrl>

// The links among a launch's arguments that are Ondel's to open: "ondel:" URLs, in order.
// Anything else (an option, a file, another scheme, text that is no URL) is left alone.
class LaunchUrls
{
public:
    // A sign-in link is short; anything longer is no link of ours.
    static constexpr qsizetype maxLength = 8 * 1024;

    static QList<QUrl> among(const QStringList &arguments);
    static bool isOndelUrl(const QUrl &url);
};
