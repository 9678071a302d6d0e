#pragma once

#include <QDateTime>
#include <QString>
#include <QUuid>

// A group of meetings. Deleting a folder leaves its meetings in place, with no folder.
struct Folder
{
    Folder() = default;
    Folder(const QString &name, const QString &icon, const QString &detail)
        : name(name)
        , icon(icon)
        , detail(detail)
    {
    }

    QUuid id = QUuid::createUuid();
    QString name;
    QString icon = QStringLiteral("folder");
    QString detail;
    QDateTime createdAt = QDateTime::currentDateTimeUtc();

    bool operator==(const Folder &) const = default;
};
