#include "StoreSchema.h"

#include <QSqlError>
#include <QSqlQuery>
#include <QStringList>

namespace {

// Append new steps at the end; never edit a step that has shipped.
const QList<QStringList> &migrations()
{
    static const QList<QStringList> steps = {
        // 1: the four records.
        {
            QStringLiteral(R"(CREATE TABLE folders (
                id TEXT PRIMARY KEY NOT NULL,
                name TEXT NOT NULL DEFAULT '',
                icon TEXT NOT NULL DEFAULT 'folder',
                detail TEXT NOT NULL DEFAULT '',
                created_at INTEGER NOT NULL))"),
            QStringLiteral(R"(CREATE TABLE meetings (
                id TEXT PRIMARY KEY NOT NULL,
                title TEXT NOT NULL DEFAULT '',
                summary TEXT,
                user_notes TEXT NOT NULL DEFAULT '',
                date INTEGER NOT NULL,
                duration REAL NOT NULL DEFAULT 0,
                is_recording INTEGER NOT NULL DEFAULT 0,
                calendar_event_id TEXT,
                attendee_names TEXT NOT NULL DEFAULT '[]',
                organizer TEXT,
                calendar_name TEXT,
                scheduled_start INTEGER,
                scheduled_end INTEGER,
                source TEXT NOT NULL DEFAULT 'quick-note',
                title_is_user_edited INTEGER NOT NULL DEFAULT 0,
                auto_start_enabled INTEGER NOT NULL DEFAULT 0,
                auto_start_fired INTEGER NOT NULL DEFAULT 0,
                link_banner_dismissed INTEGER NOT NULL DEFAULT 0,
                folder_id TEXT REFERENCES folders(id) ON DELETE SET NULL))"),
            QStringLiteral("CREATE INDEX meetings_date ON meetings(date)"),
            QStringLiteral("CREATE INDEX meetings_folder ON meetings(folder_id)"),
            QStringLiteral(R"(CREATE TABLE transcript_segments (
                seq INTEGER PRIMARY KEY AUTOINCREMENT,
                id TEXT UNIQUE NOT NULL,
                meeting_id TEXT REFERENCES meetings(id) ON DELETE CASCADE,
                text TEXT NOT NULL DEFAULT '',
                speaker_raw TEXT NOT NULL DEFAULT 'Me',
                timestamp REAL NOT NULL DEFAULT 0,
                is_final INTEGER NOT NULL DEFAULT 0))"),
            QStringLiteral("CREATE INDEX segments_meeting_time ON transcript_segments(meeting_id, timestamp)"),
            QStringLiteral(R"(CREATE TABLE chat_messages (
                seq INTEGER PRIMARY KEY AUTOINCREMENT,
                id TEXT UNIQUE NOT NULL,
                meeting_id TEXT REFERENCES meetings(id) ON DELETE CASCADE,
                role_raw TEXT NOT NULL DEFAULT 'user',
                text TEXT NOT NULL DEFAULT '',
                model_id TEXT,
                created_at INTEGER NOT NULL))"),
            QStringLiteral("CREATE INDEX chat_meeting ON chat_messages(meeting_id, created_at)"),
        },
    };
    return steps;
}

} // namespace

int StoreSchema::latestVersion()
{
    return int(migrations().size());
}

QString StoreSchema::migrate(QSqlDatabase &db)
{
    QSqlQuery query(db);
    if (!query.exec(QStringLiteral("PRAGMA user_version")) || !query.next())
        return query.lastError().text();
    const int current = query.value(0).toInt();
    query.finish();

    if (current > latestVersion())
        return QStringLiteral("the store was written by a newer version of Ondel (schema %1, this version knows up to %2)")
            .arg(current)
            .arg(latestVersion());

    for (int version = current + 1; version <= latestVersion(); ++version) {
        if (!db.transaction())
            return db.lastError().text();
        QString failure;
        for (const QString &statement : migrations().at(version - 1)) {
            if (!query.exec(statement)) {
                failure = query.lastError().text();
                break;
            }
        }
        if (failure.isEmpty() && !query.exec(QStringLiteral("PRAGMA user_version = %1").arg(version)))
            failure = query.lastError().text();
        if (!failure.isEmpty()) {
            db.rollback();
            return QStringLiteral("schema step %1 failed: %2").arg(version).arg(failure);
        }
        if (!db.commit()) {
            const QString error = db.lastError().text();
            db.rollback();
            return error;
        }
    }
    return {};
}
