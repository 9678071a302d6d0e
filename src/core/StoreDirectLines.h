#pragma once

// The store's transcript lines through SQLite's C API. Included by the store's own files only.

#include "OndelStore.h"

#include <QSqlDriver>
#include <QStringEncoder>

#include <array>
#include <bit>
#include <memory>
#include <sqlite3.h>

namespace StoreSqlite {

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
inline char *writeUuid(char *out, const QUuid &id)
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

} // namespace StoreSqlite

using namespace StoreSqlite;

// Inserts lines through SQLite directly, several rows per statement: one statement's work
// (cursors, foreign-key bookkeeping, the sequence counter) is shared by its rows. Reads them the
// same way: Qt SQL's copy of every value into a QVariant cost more than the query itself when
// the archive reads every transcript.
class OndelStore::DirectLines
{
public:
    // Over the driver's own connection; none when the driver hands out no SQLite handle.
    static std::unique_ptr<DirectLines> over(const QSqlDatabase &db)
    {
        const QVariant handle = db.driver()->handle();
        const SqliteApi *api = SqliteApi::of(db.driver());
        if (!api || qstrcmp(handle.typeName(), "sqlite3*") != 0)
            return nullptr;
        return std::make_unique<DirectLines>(*api, *static_cast<SqliteDb *const *>(handle.constData()));
    }

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
