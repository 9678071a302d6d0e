#pragma once

#include <QSqlDatabase>
#include <QString>

// The store's tables, brought up to date by numbered steps recorded in PRAGMA user_version.
// Each step runs in its own transaction; a failed step leaves the file as it was.
class StoreSchema
{
public:
    static int latestVersion();
    // Empty on success, else why the store cannot be used.
    static QString migrate(QSqlDatabase &db);
};
