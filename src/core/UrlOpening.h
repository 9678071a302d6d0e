#pragma once

#include <QUrl>

#include <functional>

// The desktop's way of opening an address in the user's browser. The desktop app installs it
// (QDesktopServices) when it starts; a process without a desktop, the command line, has none, so
// the libraries they share need no GUI module, and an address there simply stays unopened.
class UrlOpening
{
public:
    using Opener = std::function<bool(const QUrl &url)>;

    // Once, on the main thread, before anything is opened.
    static void install(Opener opener);
    // False when nothing is installed or the desktop refused.
    static bool open(const QUrl &url);
};
