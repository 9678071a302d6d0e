#pragma once

#include <QJsonObject>
#include <QString>

#include <optional>

// Where no keyring exists, the secrets are kept in a file that only the user can read: one JSON
// object of service, then account, to value; the file 0600 in a folder of 0700, replaced
// atomically on every change. Not thread-safe: the keychain uses it from its own thread only.
class SecretFile
{
public:
    // "secrets.json" in the data folder.
    static QString defaultPath();

    explicit SecretFile(const QString &path = defaultPath());

    QString path() const { return m_path; }
    bool exists() const;
    std::optional<QString> value(const QString &service, const QString &account) const;
    // Empty on success, else why not.
    QString set(const QString &service, const QString &account, const QString &value);
    QString remove(const QString &service, const QString &account);

private:
    // None for a file that does not parse.
    std::optional<QJsonObject> read() const;
    QString write(const QJsonObject &all) const;
    QString change(const QString &service, const QString &account, const std::optional<QString> &value);

    QString m_path;
};
