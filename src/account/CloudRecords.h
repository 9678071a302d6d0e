#pragma once

#include "CloudError.h"

#include <QByteArray>
#include <QString>

#include <optional>

// The cloud's answers as they come over the wire. Each decodes from a response body: a required
// key that is missing or of the wrong JSON type fails the whole record; keys beyond these are
// ignored.

// The answer to both kinds of verification.
struct VerifyResult
{
    QString sessionToken;
    QString userId;
    QString email;

    static std::optional<VerifyResult> fromJson(const QByteArray &body);
};

// The answer to "/v1/me".
struct AccountInfo
{
    struct Usage
    {
        double minutesUsed = 0;
        double quotaMinutes = 0; // 0 or less: no limit enforced here
        double resetsAt = 0;
        bool unlimited = false; // missing counts as false
    };
    struct RemoteConfig
    {
        double quotaMinutes = 0;
        bool analyticsEnabled = false;
        bool analyticsFree = false;
    };

    QString userId;
    QString email;
    bool emailOptIn = false;
    Usage usage;
    RemoteConfig config;

    static std::optional<AccountInfo> fromJson(const QByteArray &body);
};

// The answer to "/v1/shares": the public link is used as it stands.
struct ShareResult
{
    QString id;
    QString url;

    static std::optional<ShareResult> fromJson(const QByteArray &body);
};

// The answer of calls that return nothing of interest: any JSON value, but JSON it must be.
struct EmptyOK
{
    static std::optional<EmptyOK> fromJson(const QByteArray &body);
};

// The body of a refusal, as an Api error with the status it came with.
std::optional<CloudError> cloudRefusalFromJson(const QByteArray &body, int status);
