#pragma once

// A second connection to a store's file that makes the store fail, as real files do: a trigger
// that raises refuses writes, a table moved away fails reads, an open write transaction keeps
// the store busy. heal() undoes it all.

#include <QSqlDatabase>
#include <QSqlError>
#include <QSqlQuery>
#include <QStringList>
#include <QTest>

class StoreFault
{
public:
    explicit StoreFault(const QString &file)
        : m_name(QStringLiteral("fault-%1").arg(quintptr(this)))
    {
        QSqlDatabase db = QSqlDatabase::addDatabase(QStringLiteral("QSQLITE"), m_name);
        db.setDatabaseName(file);
        db.setConnectOptions(QStringLiteral("QSQLITE_BUSY_TIMEOUT=2000"));
        QVERIFY(db.open());
    }
    ~StoreFault()
    {
        heal();
        QSqlDatabase::database(m_name).close();
        QSqlDatabase::removeDatabase(m_name);
    }

    // Every insert, update and delete on `table` fails.
    void refuseWrites(const QString &table)
    {
        for (const char *what : {"INSERT", "UPDATE", "DELETE"}) {
            const QString trigger = QStringLiteral("fault_%1_%2").arg(table, QLatin1String(what));
            run(QStringLiteral("CREATE TRIGGER %1 BEFORE %2 ON %3 BEGIN SELECT RAISE(ABORT, 'refused'); END")
                    .arg(trigger, QLatin1String(what), table));
            m_undo << QStringLiteral("DROP TRIGGER %1").arg(trigger);
        }
    }
    // Every read of `table` fails.
    void hide(const QString &table)
    {
        run(QStringLiteral("ALTER TABLE %1 RENAME TO hidden_%1").arg(table));
        m_undo << QStringLiteral("ALTER TABLE hidden_%1 RENAME TO %1").arg(table);
    }
    // Holds the write lock, as another program in the middle of a write does.
    void holdWriteLock()
    {
        run(QStringLiteral("BEGIN IMMEDIATE"));
        m_undo << QStringLiteral("ROLLBACK");
    }
    void heal()
    {
        while (!m_undo.isEmpty())
            run(m_undo.takeLast());
    }

private:
    void run(const QString &sql)
    {
        QSqlQuery q(QSqlDatabase::database(m_name));
        QVERIFY2(q.exec(sql), qPrintable(sql + QStringLiteral(": ") + q.lastError().text()));
    }

    QString m_name;
    QStringList m_undo;
};
