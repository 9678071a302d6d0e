#include "SecretFile.h"

#include "AppIdentity.h"

#include <QDateTime>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QJsonDocument>
#include <QSaveFile>

namespace {

constexpr QFileDevice::Permissions kOwnerOnlyFile = QFileDevice::ReadOwner | QFileDevice::WriteOwner;
constexpr QFileDevice::Permissions kOwnerOnlyFolder = kOwnerOnlyFile | QFileDevice::ExeOwner;
// A secret file is a few hundred bytes; anything this large is not ours.
constexpr qint64 kMaxBytes = 1024 * 1024;

} // namespace

QString SecretFile::defaultPath()
{
    return AppIdentity::dataDirectory() + QStringLiteral("/secrets.json");
}

SecretFile::SecretFile(const QString &path)
    : m_path(path)
{
}

bool SecretFile::exists() const
{
    return QFileInfo::exists(m_path);
}

std::optional<QString> SecretFile::value(const QString &service, const QString &account) const
{
    const QJsonValue stored = read().value_or(QJsonObject()).value(service).toObject().value(account);
    return stored.isString() ? std::optional(stored.toString()) : std::nullopt;
}

QString SecretFile::set(const QString &service, const QString &account, const QString &value)
{
    return change(service, account, value);
}

QString SecretFile::remove(const QString &service, const QString &account)
{
    if (!exists())
        return {};
    return change(service, account, std::nullopt);
}

QString SecretFile::change(const QString &service, const QString &account, const std::optional<QString> &value)
{
    std::optional<QJsonObject> all = read();
    if (!all) {
        // Kept aside rather than overwritten: whatever it held is the user's to recover.
        const QString aside = m_path + QStringLiteral(".broken-") + QString::number(QDateTime::currentMSecsSinceEpoch());
        if (!QFile::rename(m_path, aside))
            return QStringLiteral("cannot move the damaged file aside");
        all.emplace();
    }
    QJsonObject items = all->value(service).toObject();
    if (value)
        items.insert(account, *value);
    else if (!items.contains(account))
        return {};
    else
        items.remove(account);
    if (items.isEmpty())
        all->remove(service);
    else
        all->insert(service, items);
    return write(*all);
}

std::optional<QJsonObject> SecretFile::read() const
{
    QFile file(m_path);
    if (!file.exists())
        return QJsonObject();
    if (file.size() > kMaxBytes || !file.open(QIODevice::ReadOnly))
        return std::nullopt;
    const QJsonDocument document = QJsonDocument::fromJson(file.readAll());
    if (!document.isObject())
        return std::nullopt;
    return document.object();
}

QString SecretFile::write(const QJsonObject &all) const
{
    const QString folder = QFileInfo(m_path).absolutePath();
    if (!QDir().mkpath(folder) || !QFile::setPermissions(folder, kOwnerOnlyFolder))
        return QStringLiteral("cannot make the folder private");
    QSaveFile file(m_path);
    // Owner-only before the first byte, so the secrets are never readable by others, not even
    // in the temporary file that replaces the old one.
    if (!file.open(QIODevice::WriteOnly) || !file.setPermissions(kOwnerOnlyFile))
        return file.errorString();
    const QByteArray bytes = QJsonDocument(all).toJson(QJsonDocument::Indented);
    if (file.write(bytes) != bytes.size() || !file.commit())
        return file.errorString();
    return {};
}
