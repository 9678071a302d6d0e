#include "Speaker.h"

#include <QHashFunctions>

std::optional<Speaker> Speaker::fromRaw(const QString &raw)
{
    if (raw == QLatin1String("Me"))
        return me();
    if (raw == QLatin1String("Them"))
        return them();
    if (raw.isEmpty())
        return std::nullopt;
    return other(raw);
}

QString Speaker::rawValue() const
{
    switch (m_kind) {
    case Kind::Me:
        return QStringLiteral("Me");
    case Kind::Them:
        return QStringLiteral("Them");
    case Kind::Other:
        break;
    }
    return m_name;
}

QString Speaker::label() const
{
    switch (m_kind) {
    case Kind::Me:
        return QStringLiteral("Speaker A");
    case Kind::Them:
        return QStringLiteral("Speaker B");
    case Kind::Other:
        break;
    }
    return m_name;
}

QJsonObject Speaker::toJson() const
{
    switch (m_kind) {
    case Kind::Me:
        return {{QStringLiteral("me"), QJsonObject()}};
    case Kind::Them:
        return {{QStringLiteral("them"), QJsonObject()}};
    case Kind::Other:
        break;
    }
    return {{QStringLiteral("other"), QJsonObject{{QStringLiteral("_0"), m_name}}}};
}

std::optional<Speaker> Speaker::fromJson(const QJsonObject &object, QString *error)
{
    auto fail = [error](const QString &text) -> std::optional<Speaker> {
        if (error)
            *error = text;
        return std::nullopt;
    };
    const QString keyCount = QStringLiteral("Invalid number of keys found, expected one.");
    if (object.size() != 1)
        return fail(keyCount);
    const QString key = object.begin().key();
    const QJsonValue payload = object.begin().value();
    if (!payload.isObject())
        return fail(QStringLiteral("Expected a keyed container for the case \"%1\".").arg(key));
    if (key == QLatin1String("me"))
        return me();
    if (key == QLatin1String("them"))
        return them();
    if (key == QLatin1String("other")) {
        const QJsonValue name = payload.toObject().value(QStringLiteral("_0"));
        if (!name.isString())
            return fail(QStringLiteral("No string value associated with key \"_0\"."));
        return other(name.toString());
    }
    return fail(keyCount);
}

size_t qHash(const Speaker &speaker, size_t seed)
{
    return speaker.kind() == Speaker::Kind::Other ? qHashMulti(seed, int(speaker.kind()), speaker.name())
                                                  : qHashMulti(seed, int(speaker.kind()));
}
