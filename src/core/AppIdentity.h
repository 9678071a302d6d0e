#pragma once

#include <QString>

// Which copy of the app this is. The release, developer and test builds carry different bundle
// identifiers and so keep their data in different folders: tests and development never touch
// a user's meetings.
class AppIdentity
{
public:
    static constexpr const char *baseIdentifier = "com.tarnwyk.ondel";

    // Set once by each main (and by the test support) before anything opens a file.
    static void setBundleIdentifier(const QString &identifier);
    // What a main should use: its build's identifier, unless ONDEL_BUNDLE_ID names another
    // variant of Ondel's (the test suite runs the programs it builds as ".test" this way).
    static QString chooseBundleIdentifier(const QString &buildIdentifier);
    static QString bundleIdentifier();

    // "Ondel-Dev" for ".dev", "Ondel-Test" for ".test", "Ondel" for anything else.
    static QString containerName(const QString &bundleIdentifier);
    static QString containerName();

    static bool isDevelopmentBuild();
    static bool isTestBuild();

    // $XDG_DATA_HOME (else ~/.local/share) and $XDG_CONFIG_HOME (else ~/.config), then the container.
    static QString dataDirectory();
    static QString configDirectory();
};
