#include "CloudRecords.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

namespace {

std::optional<QJsonObject> objectOf(const QByteArray &body)
{
    QJsonParseError error;
    const QJsonDocument document = QJsonDocument::fromJson(body, &error);
    if (error.error != QJsonParseError::NoError || !document.isObject())
        return std::nullopt;
    return document.object();
}

// Required fields: each returns false when the key is missing or of another type.
bool read(const QJsonObject &object, const char *key, QString &out)
{
    const QJsonValue value = object.value(QLatin1String(key));
    if (!value.isString())
        return false;
    out = value.toString();
    return true;
}

bool read(const QJsonObject &object, const char *key, double &out)
{
    const QJsonValue value = object.value(QLatin1String(key));
    if (!value.isDouble())
        return false;
    out = value.toDouble();
    return true;
}

bool read(const QJsonObject &object, const char *key, bool &out)
{
    const QJsonValue value = object.value(QLatin1String(key));
    if (!value.isBool())
        return false;
    out = value.toBool();
    return true;
}

bool read(const QJsonObject &object, const char *key, QJsonObject &out)
{
    const QJsonValue value = object.value(QLatin1String(key));
    if (!value.isObject())
        return false;
    out = value.toObject();
    return true;
}

// An optional field: missing or null leaves `out` alone; another type fails.
bool readIfPresent(const QJsonObject &object, const char *key, bool &out)
{
    const QJsonValue value = object.value(QLatin1String(key));
    return value.isUndefined() || value.isNull() || read(object, key, out);
}

} // namespace

std::optional<VerifyResult> VerifyResult::fromJson(const QByteArray &body)
{
    const std::optional<QJsonObject> object = objectOf(body);
    VerifyResult result;
    if (!object || !read(*object, "sessionToken", result.sessionToken) || !read(*object, "userId", result.userId)
        || !read(*object, "email", result.email))
        return std::nullopt;
    return result;
}

std::optional<AccountInfo> AccountInfo::fromJson(const QByteArray &body)
{
    const std::optional<QJsonObject> object = objectOf(body);
    AccountInfo info;
    QJsonObject usage;
    QJsonObject config;
    if (!object || !read(*object, "userId", info.userId) || !read(*object, "email", info.email)
        || !read(*object, "emailOptIn", info.emailOptIn) || !read(*object, "usage", usage) || !read(*object, "config", config))
        return std::nullopt;
    if (!read(usage, "minutesUsed", info.usage.minutesUsed) || !read(usage, "quotaMinutes", info.usage.quotaMinutes)
        || !read(usage, "resetsAt", info.usage.resetsAt) || !readIfPresent(usage, "unlimited", info.usage.unlimited))
        return std::nullopt;
    if (!read(config, "quotaMinutes", info.config.quotaMinutes) || !read(config, "analyticsEnabled", info.config.analyticsEnabled)
        || !read(config, "analyticsFree", info.config.analyticsFree))
        return std::nullopt;
    return info;
}

std::optional<ShareResult> ShareResult::fromJson(const QByteArray &body)
{
    const std::optional<QJsonObject> object = objectOf(body);
    ShareResult result;
    if (!object || !read(*object, "id", result.id) || !read(*object, "url", result.url))
        return std::nullopt;
    return result;
}

std::optional<EmptyOK> EmptyOK::fromJson(const QByteArray &body)
{
    // Qt reads only an object or an array at the top; wrapped, any one JSON value will do.
    QJsonParseError error;
    const QJsonDocument document = QJsonDocument::fromJson('[' + body + ']', &error);
    if (error.error != QJsonParseError::NoError || document.array().size() != 1)
        return std::nullopt;
    return EmptyOK{};
}

std::optional<CloudError> cloudRefusalFromJson(const QByteArray &body, int status)
{
    const std::optional<QJsonObject> object = objectOf(body);
    QJsonObject inner;
    QString code;
    QString message;
    if (!object || !read(*object, "error", inner) || !read(inner, "code", code) || !read(inner, "message", message))
        return std::nullopt;
    return CloudError::api(code, message, status);
}
