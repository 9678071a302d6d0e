#pragma once

#include <QString>
#include <QUrl>

#include <optional>

class Settings;

// The origins of the services the program talks to. Each is a constant of the build; a user
// default set to a valid http(s) URL overrides it, to point a build at a self-hosted or local
// server (the tests use that too). There is no control for them in the UI.
class ServiceOrigins
{
public:
    // The model gateway's API origin: speech to text and chat completions.
    static QUrl vrelDirectBase(const Settings &settings);
    // The model gateway's web origin: balance and sign-in.
    static QUrl vrelWebBase(const Settings &settings);
    // The Ondel cloud API.
    static QUrl ondelCloudBase(const Settings &settings);
    // The product's web site: the version file and the download.
    static QUrl ondelWebBase(const Settings &settings);

    // An absolute http or https URL with a host; anything else is ignored.
    static std::optional<QUrl> validOverride(const std::optional<QString> &value);
};
