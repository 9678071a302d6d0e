#include "InlineMarkdown.h"
#include "ReasoningStripper.h"
#include "SummaryGenerator.h"
#include "SummaryMarkdown.h"
#include "SummaryPrompts.h"
#include "TestEnvironment.h"

#include <QElapsedTimer>
#include <QTest>

using Kind = SummaryBlock::Kind;

namespace {

const QString kAttribution = QStringLiteral(
    "When the transcript supports it, attribute statements and action items to these attendees by name instead of generic "
    "speaker labels. Preserve Vietnamese names and their diacritics exactly as written above. Never attribute anything to a "
    "person not in this list or the transcript.");

Meeting linkedMeeting()
{
    Meeting m(QStringLiteral("Họp giao ban"), QDateTime(QDate(2026, 3, 2), QTime(9, 0), Qt::UTC));
    m.calendarEventId = QStringLiteral("evt-1");
    return m;
}

SummaryBlock block(Kind kind, const QString &text, bool done = false)
{
    return SummaryBlock{kind, text, done};
}

// Runs written as "text" for plain, "*text*" for strong, "_text_" for emphasis, "`text`" for
// code and "[text](link)" for links, so that a table row reads like the result.
QString describe(const QList<InlineRun> &runs)
{
    QStringList parts;
    for (const InlineRun &r : runs) {
        QString t = r.text;
        if (r.code)
            t = QLatin1Char('`') + t + QLatin1Char('`');
        if (r.emphasis)
            t = QLatin1Char('_') + t + QLatin1Char('_');
        if (r.strong)
            t = QLatin1Char('*') + t + QLatin1Char('*');
        if (!r.link.isEmpty())
            t = QLatin1Char('[') + t + QStringLiteral("](") + r.link + QLatin1Char(')');
        parts.append(t);
    }
    return parts.join(QLatin1Char('|'));
}

} // namespace

class TestNotesText : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase() { qputenv("TZ", "UTC"); } // the scheduled time is shown in local time

    void calendarBlock_data()
    {
        QTest::addColumn<Meeting>("meeting");
        QTest::addColumn<QString>("block"); // null: none
        const QString head = QStringLiteral("Meeting context from the calendar:\n- Event title: ");

        QTest::newRow("quick note") << Meeting(QStringLiteral("Quick note"), QDateTime::currentDateTimeUtc()) << QString();
        Meeting bare = linkedMeeting();
        bare.title.clear();
        QTest::newRow("linked, nothing else: three lines") << bare << QString(head + QLatin1Char('\n') + kAttribution);
        Meeting emptyStrings = linkedMeeting();
        emptyStrings.organizer = QString();
        emptyStrings.calendarName = QString();
        QTest::newRow("empty organizer and calendar") << emptyStrings << QString(head + QStringLiteral("Họp giao ban\n") + kAttribution);
        Meeting full = linkedMeeting();
        full.organizer = QStringLiteral("Nguyễn Thị Hà");
        full.attendeeNames = {QStringLiteral("Trần Văn Đức"), QStringLiteral("Alice")};
        full.scheduledStart = QDateTime(QDate(2026, 3, 2), QTime(14, 30), Qt::UTC);
        full.calendarName = QStringLiteral("Work");
        QTest::newRow("everything") << full
                                    << QString(head + QStringLiteral("Họp giao ban\n- Organizer: Nguyễn Thị Hà\n- Attendees: Trần Văn Đức, "
                                                                     "Alice\n- Scheduled: Mar 2, 2026 2:30 PM\n- Calendar: Work\n")
                                               + kAttribution);
    }
    void calendarBlock()
    {
        QFETCH(Meeting, meeting);
        QFETCH(QString, block);
        const std::optional<QString> made = SummaryPrompts::calendarContext(meeting, QLocale(QLocale::English, QLocale::UnitedStates));
        QCOMPARE(made.value_or(QString()), block);
        QCOMPARE(made.has_value(), !block.isNull());
    }

    // The joints between the parts of the system prompt, and where the calendar block goes.
    void notesSystemPrompt()
    {
        const QString plain = SummaryPrompts::notesSystemPrompt(std::nullopt);
        QVERIFY(plain.startsWith(QStringLiteral("You are writing up a meeting for the person who recorded it.\n\nLANGUAGE.")));
        QVERIFY(plain.contains(QStringLiteral("missing one.\n\n## Key Points\nWhat was actually")));
        QVERIFY(plain.contains(QStringLiteral("as they were said.\n\n## Decisions\n")));
        QVERIFY(plain.contains(QStringLiteral("later conversation.\n\nBe concise. Bullets")));
        QVERIFY(plain.endsWith(QStringLiteral("No preamble, no closing summary of the summary.")));
        const QString block = *SummaryPrompts::calendarContext(linkedMeeting());
        QCOMPARE(SummaryPrompts::notesSystemPrompt(block), plain + QStringLiteral("\n\n") + block);
    }

    // Counted in characters: a decomposed Vietnamese letter with its marks is one character.
    void titleCutCountsCharacters()
    {
        const QString decomposed = QString::fromUtf8("e\xCC\xA3\xCC\x82").repeated(2500); // e + dot below + circumflex
        QCOMPARE(SummaryPrompts::titleUserContent(decomposed), QString::fromUtf8("e\xCC\xA3\xCC\x82").repeated(2000));
        QCOMPARE(SummaryPrompts::titleUserContent(QStringLiteral("short")), QStringLiteral("short"));
    }

    void notesCleaning_data()
    {
        QTest::addColumn<QString>("answer");
        QTest::addColumn<QString>("notes");
        QTest::newRow("tags any case") << "<THINK>x</THINK>\n\nNotes" << "Notes";
        QTest::newRow("text before the tag survives") << "Intro <think>a</think> rest" << "Intro  rest";
        QTest::newRow("only the first pair") << "<think>a</think>B<think>c</think>" << "B<think>c</think>";
        QTest::newRow("never closed") << "Intro <think>never closed" << "Intro";
        // A stray closing tag in front of the opening one closes nothing: cut-off rule, no crash.
        QTest::newRow("inverted range") << "Notes</think> more <think>reasoning" << "Notes</think> more";
        QTest::newRow("inverted then closed") << "a</think>b<think>c</think>d" << "a</think>bd";
        QTest::newRow("reasoning, then heading") << "Okay, the user wants notes.\n# Key Points\n- a" << "# Key Points\n- a";
        QTest::newRow("reasoning, no heading") << "Okay, the user wants notes.\nJust text" << "Okay, the user wants notes.\nJust text";
        QTest::newRow("marker mid-text") << "Notes\nlet me think\n# H" << "Notes\nlet me think\n# H";
        QTest::newRow("reasoning after blank lines") << "\n\n  Let me think about it.\n## Decisions\n- b" << "## Decisions\n- b";
        QTest::newRow("empty") << "" << "";
    }
    void notesCleaning()
    {
        QFETCH(QString, answer);
        QFETCH(QString, notes);
        QCOMPARE(ReasoningStripper::notes(answer), notes);
    }

    void titleCleaning_data()
    {
        QTest::addColumn<QString>("answer");
        QTest::addColumn<QString>("title"); // null: none
        QTest::newRow("quotes and second line") << "\"Weekly sync\"\nSome more text" << "Weekly sync";
        QTest::newRow("carriage return splits") << "Kế hoạch quý\r\nx" << "Kế hoạch quý";
        QTest::newRow("think tags") << "<think>hmm</think>\n  Roadmap review  " << "Roadmap review";
        QTest::newRow("reasoning") << "Okay, the user wants notes.\n# Key Points\n- a" << QString();
        QTest::newRow("reasoning in the first line only") << "Title\nlet me think" << "Title";
        QTest::newRow("cut off in reasoning") << "<think>still going" << QString();
        QTest::newRow("blank") << " \n " << QString();
        QTest::newRow("150 characters") << QString(QStringLiteral("ă").repeated(150)) << QString(QStringLiteral("ă").repeated(120));
    }
    void titleCleaning()
    {
        QFETCH(QString, answer);
        QFETCH(QString, title);
        const std::optional<QString> cleaned = SummaryGenerator::cleanTitle(answer);
        QCOMPARE(cleaned.value_or(QString()), title);
        QCOMPARE(cleaned.has_value(), !title.isNull());
    }
    void blocks_data()
    {
        QTest::addColumn<QString>("markdown");
        QTest::addColumn<QList<SummaryBlock>>("blocks");
        QTest::newRow("empty") << QString() << QList<SummaryBlock>{};
        QTest::newRow("blank lines") << "\n  \n\t\r\n" << QList<SummaryBlock>{};
        QTest::newRow("three heading levels") << "# One\n## Two\n###   Three  " << QList<SummaryBlock>{
            block(Kind::Heading, "One"), block(Kind::Heading, "Two"), block(Kind::Heading, "Three")};
        QTest::newRow("four is too deep") << "#### Deep" << QList<SummaryBlock>{block(Kind::Paragraph, "#### Deep")};
        QTest::newRow("no blank after #") << "#NoSpace\n# " << QList<SummaryBlock>{block(Kind::Paragraph, "#NoSpace"), block(Kind::Paragraph, "#")};
        QTest::newRow("tab after #") << "#\tTab" << QList<SummaryBlock>{block(Kind::Heading, "Tab")};
        QTest::newRow("bullets, indentation flattened") << "- item\n* star\n    - nested" << QList<SummaryBlock>{
            block(Kind::Bullet, "item"), block(Kind::Bullet, "star"), block(Kind::Bullet, "nested")};
        QTest::newRow("not bullets") << "-\n-no space\n**Bold line**\n1. First" << QList<SummaryBlock>{
            block(Kind::Paragraph, "-"), block(Kind::Paragraph, "-no space"), block(Kind::Paragraph, "**Bold line**"),
            block(Kind::Paragraph, "1. First")};
        QTest::newRow("tasks") << "- [ ] Send the deck\n- [X] Send the deck\n* [x]done\n- [ ]" << QList<SummaryBlock>{
            block(Kind::Task, "Send the deck"), block(Kind::Task, "Send the deck", true), block(Kind::Task, "done", true),
            block(Kind::Task, "")};
        QTest::newRow("not a task mark") << "- [y] Send the deck\n- []" << QList<SummaryBlock>{
            block(Kind::Bullet, "[y] Send the deck"), block(Kind::Bullet, "[]")};
        QTest::newRow("CRLF") << "## Đã quyết\r\n- Chốt ngày\r\n" << QList<SummaryBlock>{
            block(Kind::Heading, "Đã quyết"), block(Kind::Bullet, "Chốt ngày")};
        QTest::newRow("lone CR is not trimmed") << "- item\r" << QList<SummaryBlock>{block(Kind::Bullet, "item\r")};
        QTest::newRow("no-break space is a blank") << QString::fromUtf8("-\xC2\xA0item\xC2\xA0") << QList<SummaryBlock>{block(Kind::Bullet, "item")};
    }
    void blocks()
    {
        QFETCH(QString, markdown);
        QFETCH(QList<SummaryBlock>, blocks);
        QCOMPARE(SummaryMarkdown::parse(markdown), blocks);
    }

    void inlineRuns_data()
    {
        QTest::addColumn<QString>("text");
        QTest::addColumn<QString>("runs");
        QTest::newRow("plain, spaces kept") << "a  b " << "a  b ";
        QTest::newRow("bold line") << "**Bold line**" << "*Bold line*";
        QTest::newRow("strong in the middle") << "Ship **Friday** at 9" << "Ship |*Friday*| at 9";
        QTest::newRow("emphasis") << "*maybe* and _also_" << "_maybe_| and |_also_";
        QTest::newRow("strong and emphasis") << "***both***" << "*_both_*";
        QTest::newRow("nested") << "**a *b* c**" << "*a *|*_b_*|* c*";
        QTest::newRow("unclosed stays as typed") << "**unclosed and *open" << "**unclosed and *open";
        QTest::newRow("spaces inside do not close") << "a ** b ** c" << "a ** b ** c";
        QTest::newRow("snake_case") << "call snake_case_name now" << "call snake_case_name now";
        QTest::newRow("intraword star") << "2*3*4" << "2|_3_|4";
        QTest::newRow("rule of three") << "*a**b*" << "_a**b_";
        QTest::newRow("code keeps its stars") << "run `a *b* c` now" << "run |`a *b* c`| now";
        QTest::newRow("escapes") << "\\*not\\* \\\\ \\a" << "*not* \\ \\a";
        QTest::newRow("link") << "see [the **doc**](https://x.io/a_b) now" << "see |[the ](https://x.io/a_b)|[*doc*](https://x.io/a_b)| now";
        QTest::newRow("not a link") << "[a] (u) [b](" << "[a] (u) [b](";
        QTest::newRow("autolink") << "<https://ondel.app/x>" << "[https://ondel.app/x](https://ondel.app/x)";
        QTest::newRow("strong around a link") << "**[a](HTTP://u)**" << "[*a*](HTTP://u)";
        QTest::newRow("mail link") << "[me](mailto:a@b.co)" << "[me](mailto:a@b.co)";
        QTest::newRow("other schemes are text") << "[a](file:///etc/passwd) [b](javascript:x()) <ondel://auth?token=t> [c](d)"
                                                << "a b ondel://auth?token=t c";
    }
    void inlineRuns()
    {
        QFETCH(QString, text);
        QFETCH(QString, runs);
        QCOMPARE(describe(SummaryMarkdown::inlineRuns(text)), runs);
    }

    // Text that cannot be parsed shows its plain characters; hostile input ends (its speed is
    // measured by the benchmarks; a rescanning parser would run into the test's time-out).
    void brokenAndHostileInput()
    {
        const QString broken = QStringLiteral("**a** ") + QChar(0xD800);
        QVERIFY(!InlineMarkdown::parse(broken));
        QCOMPARE(describe(SummaryMarkdown::inlineRuns(broken)), broken);

        // Each would take minutes if a delimiter or bracket rescanned the rest of the line.
        for (const QString &text : {QStringLiteral("*a").repeated(20000), QStringLiteral("[").repeated(20000) + QLatin1Char(']'),
                                    QStringLiteral("`a``").repeated(10000), QStringLiteral("[a](").repeated(10000),
                                    QStringLiteral("<a:").repeated(10000), QStringLiteral("_").repeated(40000)}) {
            QVERIFY(!SummaryMarkdown::inlineRuns(text).isEmpty());
        }
    }
};

ONDEL_TEST_MAIN(TestNotesText)

#include "tst_notestext.moc"
