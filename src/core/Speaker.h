#pragma once

#include <QJsonObject>
#include <QString>

#include <optional>

// Who said a transcript line. The microphone stream is always `me`, the system stream `them`;
// `other` carries a name and exists for lines written by other sources (the archive importer).
class Speaker
{
public:
    enum class Kind { Me, Them, Other };

    static Speaker me() { return Speaker(Kind::Me, {}); }
    static Speaker them() { return Speaker(Kind::Them, {}); }
    static Speaker other(const QString &name) { return Speaker(Kind::Other, name); }

    // "Me", "Them", any other non-empty name; the empty string has no speaker.
    static std::optional<Speaker> fromRaw(const QString &raw);
    // The reading every user of a stored raw value applies: no speaker means the user.
    static Speaker fromRawOrMe(const QString &raw) { return fromRaw(raw).value_or(me()); }

    Kind kind() const { return m_kind; }
    QString name() const { return m_name; }

    QString rawValue() const;
    // How the line is labelled for the language model and in the archive.
    QString label() const;

    // The keyed JSON form: {"me":{}}, {"them":{}}, {"other":{"_0":"Anna"}}.
    QJsonObject toJson() const;
    // Fails with `error` set unless the object has exactly one known key.
    static std::optional<Speaker> fromJson(const QJsonObject &object, QString *error = nullptr);

    friend bool operator==(const Speaker &a, const Speaker &b)
    {
        return a.m_kind == b.m_kind && (a.m_kind != Kind::Other || a.m_name == b.m_name);
    }

private:
    Speaker(Kind kind, const QString &name)
        : m_kind(kind)
        , m_name(name)
    {
    }

    Kind m_kind;
    QString m_name;
};

size_t qHash(const Speaker &speaker, size_t seed = 0);
