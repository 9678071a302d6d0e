#include "OndelStore.h"

#include "AppIdentity.h"
#include "Log.h"
#include "StoreSchema.h"
#include "Uuid.h"

#include <QDir>
#include <QFileInfo>
#include <QJsonArray>
#include <QJsonDocument>
#include <QSqlDriver>
#include <QSqlError>
#include <QSqlRecord>
#include <QStringEncoder>

#include <array>
#include <atomic>
#include <bit>
#include <cstdio>
#include <sqlite3.h>
#include <syslog.h>

namespace {

// A null QString binds as SQL NULL; text columns that are never absent get "" instead.
QString plain(const QString &value)
{
    return value.isNull() ? QString(QLatin1String("")) : value;
}

QVariant text(const std::optional<QString> &value)
{
    return value ? QVariant(*value) : QVariant(QMetaType(QMetaType::QString));
}

QVariant idText(const std::optional<QUuid> &value)
{
    return value ? QVariant(uuidText(*value)) : QVariant(QMetaType(QMetaType::QString));
}

QVariant millis(const QDateTime &value)
{
    return QVariant(qint64(value.toMSecsSinceEpoch()));
}

QVariant millis(const std::optional<QDateTime> &value)
{
    return value ? millis(*value) : QVariant(QMetaType(QMetaType::LongLong));
}

std::optional<QString> optionalText(const QVariant &value)
{
    return value.isNull() ? std::nullopt : std::optional<QString>(value.toString());
}

std::optional<QUuid> optionalId(const QVariant &value)
{
    return value.isNull() ? std::nullopt : std::optional<QUuid>(QUuid::fromString(value.toString()));
}

QDateTime dateFrom(const QVariant &value)
{
    return QDateTime::fromMSecsSinceEpoch(value.toLongLong(), Qt::UTC);
}

std::optional<QDateTime> optionalDate(const QVariant &value)
{
    return value.isNull() ? std::nullopt : std::optional<QDateTime>(dateFrom(value));
}

QString namesToJson(const QStringList &names)
{
    return QString::fromUtf8(QJsonDocument(QJsonArray::fromStringList(names)).toJson(QJsonDocument::Compact));
}

QStringList namesFromJson(const QString &json)
{
    QStringList names;
    for (const QJsonValue &v : QJsonDocument::fromJson(json.toUtf8()).array())
        names.append(v.toString());
    return names;
}

const QString kMeetingColumns = QStringLiteral(
    "id, title, summary, user_notes, date, duration, is_recording, calendar_event_id, attendee_names, organizer, "
    "calendar_name, scheduled_start, scheduled_end, source, title_is_user_edited, auto_start_enabled, "
    "auto_start_fired, link_banner_dismissed, folder_id");

Meeting meetingFrom(const QSqlQuery &q)
{
    Meeting m;
    m.id = QUuid::fromString(q.value(0).toString());
    m.title = q.value(1).toString();
    m.summary = optionalText(q.value(2));
    m.userNotes = q.value(3).toString();
    m.date = dateFrom(q.value(4));
    m.duration = q.value(5).toDouble();
    m.isRecording = q.value(6).toBool();
    m.calendarEventId = optionalText(q.value(7));
    m.attendeeNames = namesFromJson(q.value(8).toString());
    m.organizer = optionalText(q.value(9));
    m.calendarName = optionalText(q.value(10));
    m.scheduledStart = optionalDate(q.value(11));
    m.scheduledEnd = optionalDate(q.value(12));
    m.source = q.value(13).toString();
    m.titleIsUserEdited = q.value(14).toBool();
    m.autoStartEnabled = q.value(15).toBool();
    m.autoStartFired = q.value(16).toBool();
    m.linkBannerDismissed = q.value(17).toBool();
    m.folderId = optionalId(q.value(18));
    return m;
}

const QString kSegmentColumns = QStringLiteral("id, meeting_id, text, speaker_raw, timestamp, is_final");

TranscriptSegment segmentFrom(const QSqlQuery &q)
{
    TranscriptSegment s(QUuid::fromString(q.value(0).toString()));
    s.meetingId = optionalId(q.value(1));
    s.text = q.value(2).toString();
    s.speakerRaw = q.value(3).toString();
    s.timestamp = q.value(4).toDouble();
    s.isFinal = q.value(5).toBool();
    return s;
}

const QString kChatColumns = QStringLiteral("id, meeting_id, role_raw, text, model_id, created_at");

ChatMessage chatMessageFrom(const QSqlQuery &q)
{
    ChatMessage c;
    c.id = QUuid::fromString(q.value(0).toString());
    c.meetingId = optionalId(q.value(1));
    c.roleRaw = q.value(2).toString();
    c.text = q.value(3).toString();
    c.modelId = optionalText(q.value(4));
    c.createdAt = dateFrom(q.value(5));
    return c;
}

const QString kFolderColumns = QStringLiteral("id, name, icon, detail, created_at");

Folder folderFrom(const QSqlQuery &q)
{
    Folder f;
    f.id = QUuid::fromString(q.value(0).toString());
    f.name = q.value(1).toString();
    f.icon = q.value(2).toString();
    f.detail = q.value(3).toString();
    f.createdAt = dateFrom(q.value(4));
    return f;
}

QString whereClause(const MeetingQuery &query)
{
    QStringList conditions;
    if (query.isRecording)
        conditions << QStringLiteral("is_recording = :isRecording");
    if (query.folderId)
        conditions << QStringLiteral("folder_id = :folderId");
    else if (query.withoutFolder)
        conditions << QStringLiteral("folder_id IS NULL");
    return conditions.isEmpty() ? QString() : QStringLiteral(" WHERE ") + conditions.join(QStringLiteral(" AND "));
}

void bindQuery(QSqlQuery &q, const MeetingQuery &query)
{
    if (query.isRecording)
        q.bindValue(QStringLiteral(":isRecording"), int(*query.isRecording));
    if (query.folderId)
        q.bindValue(QStringLiteral(":folderId"), uuidText(*query.folderId));
}

std::atomic<bool> linesThroughQtOnly{false};

// The SQLite C functions that lines are written with. Qt SQL binds each value through a
// QVariant and a placeholder name, which costs more than SQLite's own insert when a recovery
// writes millions of lines. The driver's connection handle is used with the system SQLite that
// the driver itself is linked against (Debian's Qt SQL plugin uses the shared libsqlite3).
using SqliteDb = sqlite3;
using SqliteStatement = sqlite3_stmt;

constexpr int kSqliteOk = SQLITE_OK;
constexpr int kSqliteDone = SQLITE_DONE;
constexpr int kSqliteRow = SQLITE_ROW;
constexpr int kSqliteNull = SQLITE_NULL;

struct SqliteApi
{
    int (*prepare)(SqliteDb *, const char *, int, SqliteStatement **, const char **) = &sqlite3_prepare_v2;
    int (*bindText)(SqliteStatement *, int, const char *, int, void (*)(void *)) = &sqlite3_bind_text;
    int (*bindDouble)(SqliteStatement *, int, double) = &sqlite3_bind_double;
    int (*bindInt)(SqliteStatement *, int, int) = &sqlite3_bind_int;
    int (*step)(SqliteStatement *) = &sqlite3_step;
    const unsigned char *(*columnText)(SqliteStatement *, int) = &sqlite3_column_text;
    int (*columnBytes)(SqliteStatement *, int) = &sqlite3_column_bytes;
    double (*columnDouble)(SqliteStatement *, int) = &sqlite3_column_double;
    int (*columnInt)(SqliteStatement *, int) = &sqlite3_column_int;
    int (*columnType)(SqliteStatement *, int) = &sqlite3_column_type;
    int (*reset)(SqliteStatement *) = &sqlite3_reset;
    int (*finalize)(SqliteStatement *) = &sqlite3_finalize;
    const char *(*errmsg)(SqliteDb *) = &sqlite3_errmsg;

    static const SqliteApi *of(const QSqlDriver *)
    {
        static const SqliteApi api;
        return &api;
    }
};

// uuidText's form, written in place.
char *writeUuid(char *out, const QUuid &id)
{
    static constexpr char digits[] = "0123456789ABCDEF";
    const auto hex = [&out](quint32 value, int nibbles) {
        for (int shift = 4 * (nibbles - 1); shift >= 0; shift -= 4)
            *out++ = digits[(value >> shift) & 0xF];
    };
    hex(id.data1, 8);
    *out++ = '-';
    hex(id.data2, 4);
    *out++ = '-';
    hex(id.data3, 4);
    *out++ = '-';
    hex((quint32(id.data4[0]) << 8) | id.data4[1], 4);
    *out++ = '-';
    for (int i = 2; i < 8; ++i)
        hex(id.data4[i], 2);
    return out;
}

constexpr int kUuidChars = 36;

} // namespace

// Inserts lines through SQLite directly, several rows per statement: one statement's work
// (cursors, foreign-key bookkeeping, the sequence counter) is shared by its rows. Reads them the
// same way: Qt SQL's copy of every value into a QVariant cost more than the query itself when
// the archive reads every transcript.
class OndelStore::DirectLines
{
public:
    DirectLines(const SqliteApi &api, SqliteDb *db)
        : m_api(api)
        , m_db(db)
    {
    }
    ~DirectLines()
    {
        // Before Qt closes the connection, which an unfinished statement would keep open.
        for (SqliteStatement *statement : m_statements)
            if (statement)
                m_api.finalize(statement);
        if (m_select)
            m_api.finalize(m_select);
    }

    // A meeting's lines in their order, appended to `rows`. Empty on success, else why not.
    QString read(const QUuid &meetingId, QList<TranscriptSegment> &rows)
    {
        if (!m_select) {
            static const QByteArray sql = "SELECT id, meeting_id, text, speaker_raw, timestamp, is_final FROM transcript_segments "
                                          "WHERE meeting_id = ? ORDER BY timestamp, seq";
            if (m_api.prepare(m_db, sql.constData(), int(sql.size()), &m_select, nullptr) != kSqliteOk) {
                m_select = nullptr;
                return QString::fromUtf8(m_api.errmsg(m_db));
            }
        }
        char id[kUuidChars];
        writeUuid(id, meetingId);
        int status = m_api.bindText(m_select, 1, id, kUuidChars, nullptr);
        if (status == kSqliteOk) {
            while ((status = m_api.step(m_select)) == kSqliteRow) {
                TranscriptSegment s(QUuid::fromString(latin1(0)));
                if (m_api.columnType(m_select, 1) != kSqliteNull)
                    s.meetingId = QUuid::fromString(latin1(1));
                s.text = utf8(2);
                s.speakerRaw = utf8(3);
                s.timestamp = m_api.columnDouble(m_select, 4);
                s.isFinal = m_api.columnInt(m_select, 5) != 0;
                rows.append(std::move(s));
            }
        }
        const QString why = status == kSqliteDone ? QString() : QString::fromUtf8(m_api.errmsg(m_db));
        m_api.reset(m_select); // also lets go of the bound id, which lives on this stack
        return why;
    }

    // Empty on success, else why not; what a failed statement wrote is undone by SQLite.
    QString write(const TranscriptSegment *segments, qsizetype count)
    {
        while (count > 0) {
            // Statements of 64, 32, ..., 1 rows cover any count.
            int size = 1 << (kSizes - 1);
            while (size > count)
                size /= 2;
            if (const QString why = writeRows(segments, size); !why.isEmpty())
                return why;
            segments += size;
            count -= size;
        }
        return {};
    }

private:
    static constexpr int kSizes = 7;

    SqliteStatement *statement(int rows)
    {
        SqliteStatement *&slot = m_statements[std::countr_zero(unsigned(rows))];
        if (!slot) {
            QByteArray sql = "INSERT INTO transcript_segments (id, meeting_id, text, speaker_raw, timestamp, is_final) VALUES ";
            for (int row = 0; row < rows; ++row)
                sql += row ? ",(?,?,?,?,?,?)" : "(?,?,?,?,?,?)";
            if (m_api.prepare(m_db, sql.constData(), int(sql.size()), &slot, nullptr) != kSqliteOk)
                slot = nullptr;
        }
        return slot;
    }

    QString writeRows(const TranscriptSegment *segments, int rows)
    {
        SqliteStatement *insert = statement(rows);
        if (!insert)
            return QString::fromUtf8(m_api.errmsg(m_db));

        // Every text of the statement in one buffer, which must outlive the step: SQLite reads
        // bound texts in place.
        qsizetype space = 0;
        for (int row = 0; row < rows; ++row)
            space += 2 * kUuidChars + m_utf8.requiredSpace(segments[row].text.size() + segments[row].speakerRaw.size());
        m_buffer.resize(space);
        char *out = m_buffer.data();
        int parameter = 1;
        bool bound = true;
        const auto bindText = [&](char *begin, char *end) {
            bound = bound && m_api.bindText(insert, parameter++, begin, int(end - begin), nullptr) == kSqliteOk;
            out = end;
        };
        for (int row = 0; row < rows; ++row) {
            const TranscriptSegment &s = segments[row];
            bindText(out, writeUuid(out, s.id));
            bindText(out, writeUuid(out, *s.meetingId));
            bindText(out, m_utf8.appendToBuffer(out, s.text));
            bindText(out, m_utf8.appendToBuffer(out, s.speakerRaw));
            bound = bound && m_api.bindDouble(insert, parameter++, s.timestamp) == kSqliteOk;
            bound = bound && m_api.bindInt(insert, parameter++, int(s.isFinal)) == kSqliteOk;
        }
        const bool done = bound && m_api.step(insert) == kSqliteDone;
        const QString why = done ? QString() : QString::fromUtf8(m_api.errmsg(m_db));
        m_api.reset(insert);
        return why;
    }

    // The column's text, valid until the next step. A NULL reads as a null string, as in Qt SQL.
    QString utf8(int column) const
    {
        const auto *text = reinterpret_cast<const char *>(m_api.columnText(m_select, column));
        return text ? QString::fromUtf8(text, m_api.columnBytes(m_select, column)) : QString();
    }
    QLatin1StringView latin1(int column) const
    {
        const auto *text = reinterpret_cast<const char *>(m_api.columnText(m_select, column));
        return QLatin1StringView(text, text ? m_api.columnBytes(m_select, column) : 0);
    }

    const SqliteApi &m_api;
    SqliteDb *m_db;
    std::array<SqliteStatement *, kSizes> m_statements{};
    SqliteStatement *m_select = nullptr;
    // Stateless: a broken surrogate at the end of one text must not reach into the next.
    QStringEncoder m_utf8{QStringConverter::Utf8, QStringConverter::Flag::Stateless};
    QByteArray m_buffer;
};

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
    store->m_db.setConnectOptions(QStringLiteral("QSQLITE_BUSY_TIMEOUT=5000"));
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
    if (!linesThroughQtOnly) {
        const QVariant handle = store->m_db.driver()->handle();
        if (const SqliteApi *api = SqliteApi::of(store->m_db.driver()); api && qstrcmp(handle.typeName(), "sqlite3*") == 0)
            store->m_directLines = std::make_unique<DirectLines>(*api, *static_cast<SqliteDb *const *>(handle.constData()));
    }
    return store;
}

void OndelStore::setLineWritesThroughQtOnly(bool qtOnly)
{
    linesThroughQtOnly = qtOnly;
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
        query.prepare(sql);
        it = m_statements.insert(sql, query);
    }
    return it.value();
}

bool OndelStore::run(QSqlQuery &query) const
{
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
    // FULL: with a rollback journal, NORMAL can leave a corrupt file after a power cut.
    const bool rollbackJournal = setJournal("DELETE", "FULL");
    work();
    if (rollbackJournal && !setJournal("WAL", "NORMAL"))
        qCInfo(lcOndel).noquote() << QStringLiteral("Store left on a rollback journal until it is opened again: %1").arg(m_db.lastError().text());
}

// Meetings

bool OndelStore::writeMeeting(const Meeting &m, bool isNew)
{
    QSqlQuery &q = prepared(isNew
        ? QStringLiteral("INSERT INTO meetings (%1) VALUES (?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?)").arg(kMeetingColumns)
        : QStringLiteral("UPDATE meetings SET title = ?, summary = ?, user_notes = ?, date = ?, duration = ?, is_recording = ?, "
                         "calendar_event_id = ?, attendee_names = ?, organizer = ?, calendar_name = ?, scheduled_start = ?, "
                         "scheduled_end = ?, source = ?, title_is_user_edited = ?, auto_start_enabled = ?, auto_start_fired = ?, "
                         "link_banner_dismissed = ?, folder_id = ? WHERE id = ?"));
    int i = 0;
    if (isNew)
        q.bindValue(i++, uuidText(m.id));
    q.bindValue(i++, plain(m.title));
    q.bindValue(i++, text(m.summary));
    q.bindValue(i++, plain(m.userNotes));
    q.bindValue(i++, millis(m.date));
    q.bindValue(i++, m.duration);
    q.bindValue(i++, int(m.isRecording));
    q.bindValue(i++, text(m.calendarEventId));
    q.bindValue(i++, namesToJson(m.attendeeNames));
    q.bindValue(i++, text(m.organizer));
    q.bindValue(i++, text(m.calendarName));
    q.bindValue(i++, millis(m.scheduledStart));
    q.bindValue(i++, millis(m.scheduledEnd));
    q.bindValue(i++, plain(m.source));
    q.bindValue(i++, int(m.titleIsUserEdited));
    q.bindValue(i++, int(m.autoStartEnabled));
    q.bindValue(i++, int(m.autoStartFired));
    q.bindValue(i++, int(m.linkBannerDismissed));
    q.bindValue(i++, idText(m.folderId));
    if (!isNew)
        q.bindValue(i++, uuidText(m.id));
    if (!run(q))
        return false;
    if (!isNew && q.numRowsAffected() == 0) {
        m_lastError = QStringLiteral("no such meeting");
        return false;
    }
    Q_EMIT meetingChanged(m.id);
    return true;
}

bool OndelStore::insert(const Meeting &meeting)
{
    return writeMeeting(meeting, true);
}

bool OndelStore::save(const Meeting &meeting)
{
    return writeMeeting(meeting, false);
}

bool OndelStore::update(const QUuid &meetingId, const std::function<void(Meeting &)> &change)
{
    std::optional<Meeting> current = meeting(meetingId);
    if (!current) {
        m_lastError = QStringLiteral("no such meeting");
        return false;
    }
    const Meeting before = *current;
    change(*current);
    if (*current == before)
        return true;
    return writeMeeting(*current, false);
}

bool OndelStore::removeMeeting(const QUuid &meetingId)
{
    // Segments and chat turns go with it through the foreign keys' cascade.
    QSqlQuery &q = prepared(QStringLiteral("DELETE FROM meetings WHERE id = ?"));
    q.bindValue(0, uuidText(meetingId));
    if (!run(q))
        return false;
    if (q.numRowsAffected() == 0)
        return true;
    Q_EMIT meetingRemoved(meetingId);
    return true;
}

std::optional<Meeting> OndelStore::meeting(const QUuid &meetingId) const
{
    QSqlQuery &q = prepared(QStringLiteral("SELECT %1 FROM meetings WHERE id = ?").arg(kMeetingColumns));
    q.bindValue(0, uuidText(meetingId));
    if (!run(q) || !q.next())
        return std::nullopt;
    Meeting m = meetingFrom(q);
    q.finish();
    return m;
}

QList<Meeting> OndelStore::meetings(const MeetingQuery &query) const
{
    QString sql = QStringLiteral("SELECT %1 FROM meetings").arg(kMeetingColumns) + whereClause(query)
        + (query.newestFirst ? QStringLiteral(" ORDER BY date DESC, rowid DESC") : QStringLiteral(" ORDER BY date ASC, rowid ASC"));
    if (query.limit > 0)
        sql += QStringLiteral(" LIMIT %1").arg(query.limit);
    QSqlQuery &q = prepared(sql);
    bindQuery(q, query);
    QList<Meeting> result;
    if (!run(q))
        return result;
    while (q.next())
        result.append(meetingFrom(q));
    q.finish();
    return result;
}

int OndelStore::meetingCount(const MeetingQuery &query) const
{
    QSqlQuery &q = prepared(QStringLiteral("SELECT COUNT(*) FROM meetings") + whereClause(query));
    bindQuery(q, query);
    if (!run(q) || !q.next())
        return 0;
    const int count = q.value(0).toInt();
    q.finish();
    return count;
}

// Transcript lines

bool OndelStore::insert(const TranscriptSegment &segment)
{
    return writeSegments(&segment, 1);
}

bool OndelStore::insert(const QList<TranscriptSegment> &segments)
{
    return writeSegments(segments.constData(), segments.size());
}

bool OndelStore::writeSegments(const TranscriptSegment *segments, qsizetype count)
{
    for (qsizetype i = 0; i < count; ++i) {
        if (!segments[i].meetingId) {
            m_lastError = QStringLiteral("a transcript line needs a meeting");
            return false;
        }
    }
    // One statement is atomic by itself; more need a savepoint to land together.
    const bool several = count > 1;
    if (several && !run(prepared(QStringLiteral("SAVEPOINT lines"))))
        return false;
    bool ok = true;
    if (m_directLines) {
        if (const QString why = m_directLines->write(segments, count); !why.isEmpty()) {
            m_lastError = why;
            ok = false;
        }
    } else {
        for (qsizetype i = 0; ok && i < count; ++i)
            ok = writeSegmentThroughQt(segments[i]);
    }
    if (several) {
        if (!ok)
            prepared(QStringLiteral("ROLLBACK TO lines")).exec(); // fails only if SQLite already undid it all
        QSqlQuery &release = prepared(QStringLiteral("RELEASE lines"));
        if (!release.exec() && ok) {
            m_lastError = release.lastError().text();
            ok = false;
        }
    }
    if (!ok)
        return false;
    for (qsizetype i = 0; i < count; ++i)
        Q_EMIT segmentAdded(segments[i]);
    return true;
}

bool OndelStore::writeSegmentThroughQt(const TranscriptSegment &s)
{
    QSqlQuery &q = prepared(QStringLiteral("INSERT INTO transcript_segments (%1) VALUES (?, ?, ?, ?, ?, ?)").arg(kSegmentColumns));
    q.bindValue(0, uuidText(s.id));
    q.bindValue(1, uuidText(*s.meetingId));
    q.bindValue(2, plain(s.text));
    q.bindValue(3, plain(s.speakerRaw));
    q.bindValue(4, s.timestamp);
    q.bindValue(5, int(s.isFinal));
    return run(q);
}

std::optional<QUuid> OndelStore::meetingOfSegment(const QUuid &segmentId) const
{
    QSqlQuery &q = prepared(QStringLiteral("SELECT meeting_id FROM transcript_segments WHERE id = ?"));
    q.bindValue(0, uuidText(segmentId));
    if (!run(q) || !q.next())
        return std::nullopt;
    const std::optional<QUuid> id = optionalId(q.value(0));
    q.finish();
    return id;
}

bool OndelStore::removeSegment(const QUuid &segmentId)
{
    const std::optional<QUuid> meetingId = meetingOfSegment(segmentId);
    QSqlQuery &q = prepared(QStringLiteral("DELETE FROM transcript_segments WHERE id = ?"));
    q.bindValue(0, uuidText(segmentId));
    if (!run(q))
        return false;
    if (q.numRowsAffected() > 0)
        Q_EMIT segmentRemoved(meetingId.value_or(QUuid()), segmentId);
    return true;
}

QList<TranscriptSegment> OndelStore::segments(const QUuid &meetingId) const
{
    if (m_directLines) {
        QList<TranscriptSegment> result;
        if (const QString why = m_directLines->read(meetingId, result); !why.isEmpty()) {
            m_lastError = why;
            return {};
        }
        return result;
    }
    QSqlQuery &q = prepared(QStringLiteral("SELECT %1 FROM transcript_segments WHERE meeting_id = ? ORDER BY timestamp, seq").arg(kSegmentColumns));
    q.bindValue(0, uuidText(meetingId));
    QList<TranscriptSegment> result;
    if (!run(q))
        return result;
    while (q.next())
        result.append(segmentFrom(q));
    q.finish();
    return result;
}

QList<TranscriptSegment> OndelStore::segmentsBetween(const QUuid &meetingId, const QStringList &speakerRaws, double from, double to) const
{
    QStringList marks;
    for (qsizetype i = 0; i < speakerRaws.size(); ++i)
        marks << QStringLiteral("?");
    QSqlQuery &q = prepared(QStringLiteral("SELECT %1 FROM transcript_segments WHERE meeting_id = ? AND timestamp >= ? AND timestamp <= ? "
                                           "AND speaker_raw IN (%2) ORDER BY seq")
                                .arg(kSegmentColumns, marks.join(QLatin1Char(','))));
    int i = 0;
    q.bindValue(i++, uuidText(meetingId));
    q.bindValue(i++, from);
    q.bindValue(i++, to);
    for (const QString &raw : speakerRaws)
        q.bindValue(i++, plain(raw));
    QList<TranscriptSegment> result;
    if (!run(q))
        return result;
    while (q.next())
        result.append(segmentFrom(q));
    q.finish();
    return result;
}

int OndelStore::segmentCount(const QUuid &meetingId) const
{
    QSqlQuery &q = prepared(QStringLiteral("SELECT COUNT(*) FROM transcript_segments WHERE meeting_id = ?"));
    q.bindValue(0, uuidText(meetingId));
    if (!run(q) || !q.next())
        return 0;
    const int count = q.value(0).toInt();
    q.finish();
    return count;
}

QSet<QUuid> OndelStore::meetingsWithLineContaining(const QString &text) const
{
    QSet<QUuid> found;
    if (text.isEmpty())
        return found;
    // SQLite's LIKE folds ASCII only: text beyond it is compared here, with Qt's folding.
    bool ascii = true;
    for (QChar c : text)
        ascii = ascii && c.unicode() < 0x80;
    QSqlQuery &q = prepared(ascii ? QStringLiteral("SELECT DISTINCT meeting_id FROM transcript_segments WHERE text LIKE ? ESCAPE '\\'")
                                  : QStringLiteral("SELECT meeting_id, text FROM transcript_segments"));
    if (ascii) {
        QString pattern = text;
        pattern.replace(QLatin1Char('\\'), QStringLiteral("\\\\")).replace(QLatin1Char('%'), QStringLiteral("\\%")).replace(QLatin1Char('_'), QStringLiteral("\\_"));
        q.bindValue(0, QStringLiteral("%%1%").arg(pattern));
    }
    if (!run(q))
        return found;
    const QString needle = text.toLower();
    while (q.next()) {
        if (!ascii && !q.value(1).toString().toLower().contains(needle))
            continue;
        if (const std::optional<QUuid> id = parseUuid(q.value(0).toString()))
            found.insert(*id);
    }
    q.finish();
    return found;
}

bool OndelStore::readLines(const QString &filePath, const std::function<void(const QUuid &meetingId, const QString &text)> &visit)
{
    static std::atomic<int> serial{0};
    const QString name = QStringLiteral("ondel-lines-%1").arg(serial.fetch_add(1));
    bool ok = false;
    {
        QSqlDatabase db = QSqlDatabase::addDatabase(QStringLiteral("QSQLITE"), name);
        db.setDatabaseName(filePath);
        db.setConnectOptions(QStringLiteral("QSQLITE_OPEN_READONLY"));
        if (db.open()) {
            QSqlQuery q(db);
            q.setForwardOnly(true);
            ok = q.exec(QStringLiteral("SELECT meeting_id, text FROM transcript_segments WHERE meeting_id IS NOT NULL"));
            QString lastText;
            QUuid last;
            while (ok && q.next()) {
                // Lines come grouped by meeting more often than not: each id is parsed once per run.
                const QString idText = q.value(0).toString();
                if (idText != lastText) {
                    lastText = idText;
                    last = parseUuid(idText).value_or(QUuid());
                }
                if (!last.isNull())
                    visit(last, q.value(1).toString());
            }
        }
        db.close();
    }
    QSqlDatabase::removeDatabase(name);
    return ok;
}

// Chat turns

bool OndelStore::insert(const ChatMessage &c)
{
    if (!c.meetingId) {
        m_lastError = QStringLiteral("a chat turn needs a meeting");
        return false;
    }
    QSqlQuery &q = prepared(QStringLiteral("INSERT INTO chat_messages (%1) VALUES (?, ?, ?, ?, ?, ?)").arg(kChatColumns));
    q.bindValue(0, uuidText(c.id));
    q.bindValue(1, uuidText(*c.meetingId));
    q.bindValue(2, plain(c.roleRaw));
    q.bindValue(3, plain(c.text));
    q.bindValue(4, text(c.modelId));
    q.bindValue(5, millis(c.createdAt));
    if (!run(q))
        return false;
    Q_EMIT chatMessagesChanged(*c.meetingId);
    return true;
}

std::optional<QUuid> OndelStore::meetingOfChatMessage(const QUuid &messageId) const
{
    QSqlQuery &q = prepared(QStringLiteral("SELECT meeting_id FROM chat_messages WHERE id = ?"));
    q.bindValue(0, uuidText(messageId));
    if (!run(q) || !q.next())
        return std::nullopt;
    const std::optional<QUuid> id = optionalId(q.value(0));
    q.finish();
    return id;
}

bool OndelStore::removeChatMessage(const QUuid &messageId)
{
    const std::optional<QUuid> meetingId = meetingOfChatMessage(messageId);
    QSqlQuery &q = prepared(QStringLiteral("DELETE FROM chat_messages WHERE id = ?"));
    q.bindValue(0, uuidText(messageId));
    if (!run(q))
        return false;
    if (q.numRowsAffected() > 0 && meetingId)
        Q_EMIT chatMessagesChanged(*meetingId);
    return true;
}

QList<ChatMessage> OndelStore::chatMessages(const QUuid &meetingId) const
{
    QSqlQuery &q = prepared(QStringLiteral("SELECT %1 FROM chat_messages WHERE meeting_id = ? ORDER BY created_at, seq").arg(kChatColumns));
    q.bindValue(0, uuidText(meetingId));
    QList<ChatMessage> result;
    if (!run(q))
        return result;
    while (q.next())
        result.append(chatMessageFrom(q));
    q.finish();
    return result;
}

// Folders

bool OndelStore::insert(const Folder &f)
{
    QSqlQuery &q = prepared(QStringLiteral("INSERT INTO folders (%1) VALUES (?, ?, ?, ?, ?)").arg(kFolderColumns));
    q.bindValue(0, uuidText(f.id));
    q.bindValue(1, plain(f.name));
    q.bindValue(2, plain(f.icon));
    q.bindValue(3, plain(f.detail));
    q.bindValue(4, millis(f.createdAt));
    if (!run(q))
        return false;
    Q_EMIT foldersChanged();
    return true;
}

bool OndelStore::save(const Folder &f)
{
    QSqlQuery &q = prepared(QStringLiteral("UPDATE folders SET name = ?, icon = ?, detail = ?, created_at = ? WHERE id = ?"));
    q.bindValue(0, plain(f.name));
    q.bindValue(1, plain(f.icon));
    q.bindValue(2, plain(f.detail));
    q.bindValue(3, millis(f.createdAt));
    q.bindValue(4, uuidText(f.id));
    if (!run(q))
        return false;
    if (q.numRowsAffected() == 0) {
        m_lastError = QStringLiteral("no such folder");
        return false;
    }
    Q_EMIT foldersChanged();
    return true;
}

bool OndelStore::removeFolder(const QUuid &folderId)
{
    // Which meetings lose their folder, so that their views refresh too.
    QList<QUuid> members;
    {
        QSqlQuery &q = prepared(QStringLiteral("SELECT id FROM meetings WHERE folder_id = ?"));
        q.bindValue(0, uuidText(folderId));
        if (!run(q))
            return false;
        while (q.next())
            members.append(QUuid::fromString(q.value(0).toString()));
        q.finish();
    }
    QSqlQuery &q = prepared(QStringLiteral("DELETE FROM folders WHERE id = ?"));
    q.bindValue(0, uuidText(folderId));
    if (!run(q))
        return false;
    if (q.numRowsAffected() == 0)
        return true;
    Q_EMIT foldersChanged();
    for (const QUuid &id : std::as_const(members))
        Q_EMIT meetingChanged(id);
    return true;
}

std::optional<Folder> OndelStore::folder(const QUuid &folderId) const
{
    QSqlQuery &q = prepared(QStringLiteral("SELECT %1 FROM folders WHERE id = ?").arg(kFolderColumns));
    q.bindValue(0, uuidText(folderId));
    if (!run(q) || !q.next())
        return std::nullopt;
    Folder f = folderFrom(q);
    q.finish();
    return f;
}

QList<Folder> OndelStore::folders() const
{
    QSqlQuery &q = prepared(QStringLiteral("SELECT %1 FROM folders ORDER BY created_at, rowid").arg(kFolderColumns));
    QList<Folder> result;
    if (!run(q))
        return result;
    while (q.next())
        result.append(folderFrom(q));
    q.finish();
    return result;
}
