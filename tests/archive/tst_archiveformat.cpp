#include "ArchivePaths.h"
#include "ArchiveRig.h"
#include "MeetingFileParser.h"
#include "MeetingMarkdown.h"
#include "TestEnvironment.h"

#include <QTest>

namespace {

QDateTime utc(const char *iso)
{
    return QDateTime::fromString(QString::fromLatin1(iso), Qt::ISODate).toUTC();
}

ArchiveSnapshot snapshot(const QString &title = QStringLiteral("Weekly sync"))
{
    ArchiveSnapshot s;
    s.id = QUuid::fromString(kId);
    s.title = title;
    s.date = utc("2026-01-05T09:30:00.900Z");
    s.duration = 42 * 60 + 30;
    return s;
}

const char *kHead = "---\nid: 6F0E2C1A-9B1D-4E6A-8C3B-2D7A4F1E9C55\ntitle: \"%1\"\ndate: 2026-01-05T09:30:00Z\nduration_minutes: %3\napp: Ondel\n---\n\n# %2\n";

// Table rows name only what differs; the rest keeps its default on purpose.
#pragma GCC diagnostic ignored "-Wmissing-field-initializers"

const QDateTime kNow(QDate(2026, 3, 2), QTime(8, 0), Qt::UTC);

struct ParseCase
{
    QString text;
    std::optional<QString> title; // none: nothing parsed
    QDateTime date = kNow;
    int minutes = 0;
    bool keepsId = false;
    std::optional<QString> summary;
    QStringList turns; // "raw speaker|seconds|text"
};

} // namespace

Q_DECLARE_METATYPE(ParseCase)

class TestArchiveFormat : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void slugify_data()
    {
        QTest::addColumn<QString>("title");
        QTest::addColumn<QString>("slug");
        QTest::newRow("words") << "Weekly sync" << "weekly-sync";
        QTest::newRow("diacritics and runs") << "Phở bò — Tuần 3!" << "pho-bo-tuan-3";
        QTest::newRow("other scripts stay") << "会議 Ελλάδα" << "会議-ελλαδα";
        QTest::newRow("punctuation only") << "?!… — ..." << "";
        QTest::newRow("climbing out") << "../../x" << "x";
        QTest::newRow("separators at the ends") << "  /Hello,  World/  " << "hello-world";
        QTest::newRow("200 letters") << QString(200, QLatin1Char('a')) << QString(60, QLatin1Char('a'));
        QTest::newRow("dash counts, then trimmed") << QString(59, QLatin1Char('b')) + " c" << QString(59, QLatin1Char('b'));
        // Sixty letters of four bytes each would make a name longer than file systems allow.
        QTest::newRow("long in bytes") << QString(QStringLiteral("\U00020000")).repeated(60) << QString(QStringLiteral("\U00020000")).repeated(45);
    }
    void slugify()
    {
        QFETCH(QString, title);
        QFETCH(QString, slug);
        QCOMPARE(ArchivePaths::slugify(title), slug);
    }

    void fileNames_data()
    {
        QTest::addColumn<QDateTime>("date");
        QTest::addColumn<QString>("zone");
        QTest::addColumn<QString>("title");
        QTest::addColumn<QString>("path");
        QTest::newRow("no slug") << utc("2026-01-05T09:30:00Z") << "UTC" << "!!!" << "2026/2026-01-05-0930.md";
        // Year and name follow the user's zone; the front matter stays in UTC.
        QTest::newRow("local new year") << utc("2025-12-31T20:05:00Z") << "Asia/Ho_Chi_Minh" << "x" << "2026/2026-01-01-0305-x.md";
    }
    void fileNames()
    {
        QFETCH(QDateTime, date);
        QFETCH(QString, zone);
        QFETCH(QString, title);
        QFETCH(QString, path);
        QCOMPARE(ArchivePaths(QStringLiteral("/r"), QTimeZone(zone.toLatin1())).relativePath(date, title), path);
        QVERIFY(ArchivePaths::isSafeRelativePath(path));
    }

    void fileMatchesTheFormatByteForByte()
    {
        ArchiveSnapshot s = snapshot(QStringLiteral("Weekly \"sync\""));
        s.summary = QStringLiteral("the notes");
        s.userNotes = QStringLiteral("  \n the trimmed notes \n");
        s.turns = {{QStringLiteral("Speaker A"), 3.9, QStringLiteral("Hello there.")}, {QStringLiteral("Speaker B"), 7, QStringLiteral("Hi.")}};
        s.chat = {{QStringLiteral("user"), QStringLiteral("What was decided?")}, {QStringLiteral("assistant"), QStringLiteral("Nothing yet.")}};
        QCOMPARE(MeetingMarkdown::render(s), QString::fromLatin1(kHead).arg(QStringLiteral("Weekly \\\"sync\\\""), QStringLiteral("Weekly \"sync\""), "42")
                                                 + QStringLiteral("\n## Summary\n\nthe notes\n\n## My Notes\n\nthe trimmed notes\n\n## Transcript\n\n"
                                                                  "[00:03] **Speaker A:** Hello there.\n[00:07] **Speaker B:** Hi.\n\n"
                                                                  "## Chat\n\n**Q:** What was decided?\n\n**A:** Nothing yet.\n"));

        // A summary is tested as it stands, notes trimmed; minutes are truncated and never wrap into hours.
        s = snapshot(QStringLiteral("a \"b\" c\\d\ne"));
        s.summary = QStringLiteral("   ");
        s.userNotes = QStringLiteral(" \n\t ");
        s.duration = 59.9;
        s.turns = {{QStringLiteral("Speaker A"), 3725.7, QStringLiteral("x")}, {QStringLiteral("Anna"), 7205, QString()}};
        QCOMPARE(MeetingMarkdown::render(s), QString::fromLatin1(kHead).arg(QStringLiteral("a \\\"b\\\" c\\\\d\ne"), QStringLiteral("a \"b\" c\\d\ne"), "0")
                                                 + QStringLiteral("\n## Summary\n\n   \n\n## Transcript\n\n[62:05] **Speaker A:** x\n[120:05] **Anna:** \n"));
        s = snapshot();
        s.summary = QString();
        s.duration = 125;
        QCOMPARE(MeetingMarkdown::render(s), QString::fromLatin1(kHead).arg(QStringLiteral("Weekly sync"), QStringLiteral("Weekly sync"), "2"));
    }

    void readingAFile_data()
    {
        QTest::addColumn<ParseCase>("c");
        const QDateTime monday(QDate(2026, 1, 5), QTime(9, 30), Qt::UTC);
        const QString body = QStringLiteral("\n# x\n\n## Summary\n\nS\n\n## My Notes\n\nN\n\n## Transcript\n\n[00:03] **Speaker A:**  hi there\t\n"
                                            "[120:05] **Speaker B:** x\n[1:05] **Anna:** \n[00:05] **Them:** y\n[1:2:3] **A:** x\n[a:b] **A:** x\n"
                                            "[00:05] Speaker A: hello\n[00:05 **A:** x\n\n## Chat\n\n**Q:** q\n\n**A:** first\n[00:01] **Bob:** a turn too\n");
        QTest::newRow("written file") << ParseCase{file("id: " + kId + "\ntitle: \"A \\\"q\\\" \\\\ b\"\ndate: 2026-01-05T09:30:00Z\nduration_minutes: 42\napp: Ondel", body),
                                                   "A \"q\" \\ b", monday, 42, true, "S\n\n## My Notes\n\nN",
                                                   {"Me|3|hi there", "Them|7205|x", "Anna|65|", "Them|5|y", "Bob|1|a turn too"}};
        QTest::newRow("CRLF") << ParseCase{file("title: x").replace("\n", "\r\n")};
        QTest::newRow("no front matter") << ParseCase{"# x\n"};
        QTest::newRow("unclosed") << ParseCase{"---\ntitle: x\n"};
        QTest::newRow("broken id, date, minutes") << ParseCase{file("id: 6F0E2C1A\ndate: 2026-13-01T00:00:00Z\nduration_minutes: abc"), "Untitled"};
        QTest::newRow("offset date, signed minutes")
            << ParseCase{file("id: " + kId.toLower() + "\ntitle:\tt \ndate: 2026-01-05T16:30:00+07:00\nduration_minutes: +5"), "t", monday, 5, true};
        QTest::newRow("title with a line break") << ParseCase{file("title: \"a\nb\""), "\"a"};
        QTest::newRow("summary without transcript runs on") << ParseCase{file("title: t", "## Summary\nS\n## Chat\n**Q:** q\n"), "t", kNow, 0, false,
                                                                         "S\n## Chat\n**Q:** q"};
    }
    void readingAFile()
    {
        QFETCH(ParseCase, c);
        const auto parsed = MeetingFileParser::parse(c.text, kNow);
        QCOMPARE(parsed.has_value(), c.title.has_value());
        if (!parsed)
            return;
        const Meeting &m = parsed->meeting;
        QCOMPARE(m.title, *c.title);
        QCOMPARE(m.date, c.date);
        QCOMPARE(m.duration, c.minutes * 60.0);
        QCOMPARE(uuidText(m.id) == kId, c.keepsId);
        QCOMPARE(m.summary, c.summary);
        QCOMPARE(m.source, QStringLiteral("imported"));
        QStringList turns;
        for (const MeetingFileParser::Turn &t : parsed->turns)
            turns << QStringLiteral("%1|%2|%3").arg(t.speaker.rawValue()).arg(t.timestamp).arg(t.text);
        QCOMPARE(turns, c.turns);
    }

    void indexRoundTripsAndReadsEscapedSlashes()
    {
        ArchiveIndex index;
        const ArchiveIndex::Entry entry{QStringLiteral("a \"b\"\\ \n\x01 é"), utc("2026-01-05T09:30:00Z"), 42, QStringLiteral("2026/x.md"), true};
        index.set(QStringLiteral("B"), entry);
        index.set(QStringLiteral("A"), entry);
        const QByteArray json = index.toJson();
        QVERIFY(json.indexOf("\"A\"") < json.indexOf("\"B\""));
        bool ok = false;
        QCOMPARE(ArchiveIndex::fromJson(json, &ok).entry(QStringLiteral("B")), std::optional(entry));
        QVERIFY(ok);
        const QByteArray escaped = R"({"K": {"title": "t", "date": "2026-01-05T09:30:00Z", "durationMinutes": 1,
                                      "path": "2026\/2026-01-05-0930-t.md", "hasSummary": false}})";
        QCOMPARE(ArchiveIndex::fromJson(escaped).entry(QStringLiteral("K"))->path, QStringLiteral("2026/2026-01-05-0930-t.md"));
    }
};

ONDEL_TEST_MAIN(TestArchiveFormat)

#include "tst_archiveformat.moc"
