#include "OndelStore.h"

// Opening the store, its statements and transactions. Each kind of record has its own file:
// OndelStoreMeetings, OndelStoreSegments, OndelStoreChat, OndelStoreFolders.

#include "AppIdentity.h"
#include "Log.h"
#include "StoreDirectLines.h"
#include "StoreSchema.h"

#include <QDir>
#include <QFileInfo>
#include <QSqlError>

#include <atomic>
#include <cstdio>
#include <syslog.h>

namespace {

std::atomic<bool> linesThroughQtOnly{false};
std::atomic<int> busyTimeout{5000};

} // namespace

OndelStore::OndelStore(const QString &filePath, const QString &connectionName)
    : m_filePath(filePath)
    , m_connectionName(connectionName)
    , m_db(QSqlDatabase::addDatabase(QStringLiteral("QSQLITE"), connectionName))
{
}

OndelStore::~OndelStore()
{
    m_directLines.reset();
    m_statements.clear();
    m_unprepared = QSqlQuery();
    m_db.close();
    m_db = QSqlDatabase();
    QSqlDatabase::removeDatabase(m_connectionName);
}

std::unique_ptr<OndelStore> OndelStore::open(const QString &filePath, QString *error)
{
    static std::atomic<int> counter{0};
    const QString connection = QStringLiteral("ondel-store-%1").arg(counter.fetch_add(1));
    std::unique_ptr<OndelStore> store(new OndelStore(filePath, connection));

    auto fail = [&](const QString &why) -> std::unique_ptr<OndelStore> {
        if (error)
            *error = why;
        return nullptr;
    };

    if (!store->m_db.isValid())
        return fail(QStringLiteral("the SQLite driver is not available"));
    store->m_db.setDatabaseName(filePath);
    store->m_db.setConnectOptions(QStringLiteral("QSQLITE_BUSY_TIMEOUT=%1").arg(busyTimeout.load()));
    if (!store->m_db.open())
        return fail(store->m_db.lastError().text());

    QSqlQuery pragma(store->m_db);
    // Reading the schema version also proves the file is a database at all.
    if (!pragma.exec(QStringLiteral("PRAGMA user_version")))
        return fail(pragma.lastError().text());
    pragma.finish();
    // temp_store: the statement journal of a multi-row insert stays in memory rather than going
    // through a temporary file page by page.
    for (const char *statement :
         {"PRAGMA foreign_keys = ON", "PRAGMA journal_mode = WAL", "PRAGMA synchronous = NORMAL", "PRAGMA temp_store = MEMORY"}) {
        if (!pragma.exec(QString::fromLatin1(statement)))
            return fail(pragma.lastError().text());
        pragma.finish();
    }
    if (const QString why = StoreSchema::migrate(store->m_db); !why.isEmpty())
        return fail(why);
    if (!linesThroughQtOnly)
        store->m_directLines = DirectLines::over(store->m_db);
    return store;
}

void OndelStore::setLineWritesThroughQtOnly(bool qtOnly)
{
    linesThroughQtOnly = qtOnly;
}

void OndelStore::setBusyTimeout(int milliseconds)
{
    busyTimeout = milliseconds;
}

QString OndelStore::defaultFilePath()
{
    return AppIdentity::dataDirectory() + QStringLiteral("/Ondel.store");
}

OndelStore &OndelStore::shared()
{
    static OndelStore *store = [] {
        const QString path = defaultFilePath();
        QDir().mkpath(QFileInfo(path).absolutePath()); // a failure here shows up in the open below
        QString error;
        std::unique_ptr<OndelStore> opened = open(path, &error);
        if (!opened) {
            const QByteArray message = (QStringLiteral("Failed to open Ondel store: ") + error).toUtf8();
            std::fprintf(stderr, "%s\n", message.constData());
            syslog(LOG_ERR, "%s", message.constData());
            std::exit(EXIT_FAILURE);
        }
        return opened.release();
    }();
    return *store;
}

QSqlQuery &OndelStore::prepared(const QString &sql) const
{
    auto it = m_statements.find(sql);
    if (it == m_statements.end()) {
        QSqlQuery query(m_db);
        // Rows are only ever read in order; no copy of those already read is kept.
        query.setForwardOnly(true);
        if (!query.prepare(sql)) {
            // Not kept: a statement that could not be prepared (its table missing for a while,
            // the schema locked) is prepared again at its next use.
            m_lastError = query.lastError().text();
            m_unprepared = query;
            return m_unprepared;
        }
        it = m_statements.insert(sql, query);
    }
    return it.value();
}

bool OndelStore::run(QSqlQuery &query) const
{
    if (&query == &m_unprepared)
        return false; // lastError tells why
    const bool ok = query.exec();
    if (!ok)
        m_lastError = query.lastError().text();
    return ok;
}

bool OndelStore::transaction(const std::function<bool()> &work)
{
    if (!m_db.transaction()) {
        m_lastError = m_db.lastError().text();
        return false;
    }
    if (!work()) {
        m_db.rollback();
        return false;
    }
    if (!m_db.commit()) {
        m_lastError = m_db.lastError().text();
        m_db.rollback();
        return false;
    }
    return true;
}

bool OndelStore::setJournal(const char *mode, const char *synchronous)
{
    QSqlQuery q(m_db);
    // PRAGMA journal_mode answers with the mode in force, which is the old one when it could not change.
    if (!q.exec(QStringLiteral("PRAGMA journal_mode = %1").arg(QLatin1String(mode))) || !q.next()
        || q.value(0).toString().compare(QLatin1String(mode), Qt::CaseInsensitive) != 0)
        return false;
    q.finish();
    return q.exec(QStringLiteral("PRAGMA synchronous = %1").arg(QLatin1String(synchronous)));
}

void OndelStore::bulkLoad(const std::function<void()> &work)
{
    beginBulkLoad();
    work();
    endBulkLoad();
}

void OndelStore::beginBulkLoad()
{
    // FULL: with a rollback journal, NORMAL can leave a corrupt file after a power cut.
    m_bulkJournal = setJournal("DELETE", "FULL");
}

void OndelStore::endBulkLoad()
{
    if (std::exchange(m_bulkJournal, false) && !setJournal("WAL", "NORMAL"))
        qCInfo(lcOndel).noquote() << QStringLiteral("Store left on a rollback journal until it is opened again: %1").arg(m_db.lastError().text());
}
