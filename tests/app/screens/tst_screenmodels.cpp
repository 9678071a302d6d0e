// The meeting screen's models over a real store and a real settings file: the feed's bubbles
// (how lines group, and that a line stored or removed while the meeting is on screen changes
// only the rows it affects), the notes drawn as blocks, the chat's turns and its model picker.
// The rich text is read back through Qt's own rich-text engine.
#include "ChatMessageListModel.h"
#include "ChatModel.h"
#include "ChatModelMenu.h"
#include "CopyConfirmation.h"
#include "FakeClock.h"
#include "OndelStore.h"
#include "Settings.h"
#include "SummaryBlockModel.h"
#include "TestEnvironment.h"
#include "TranscriptFeedModel.h"
#include "Uuid.h"

#include <QAbstractItemModelTester>
#include <QGuiApplication>
#include <QSignalSpy>
#include <QTextBlock>
#include <QTextDocument>
#include <QtTest>

using Tester = QAbstractItemModelTester;

namespace {
const QColor kInk(10, 20, 30);

// A model's row signals as text: "changed 0-1; inserted 2-2; removed 1-1; reset".
class RowSignals : public QObject
{
public:
    explicit RowSignals(QAbstractItemModel &model)
    {
        const auto add = [this](const char *what) {
            return [this, what](const QModelIndex &, int from, int to) { seen << QStringLiteral("%1 %2-%3").arg(QLatin1String(what)).arg(from).arg(to); };
        };
        connect(&model, &QAbstractItemModel::dataChanged, this, [this](const QModelIndex &from, const QModelIndex &to) {
            seen << QStringLiteral("changed %1-%2").arg(from.row()).arg(to.row());
        });
        connect(&model, &QAbstractItemModel::rowsInserted, this, add("inserted"));
        connect(&model, &QAbstractItemModel::rowsRemoved, this, add("removed"));
        connect(&model, &QAbstractItemModel::modelReset, this, [this] { seen << QStringLiteral("reset"); });
    }

    QString take() { return std::exchange(seen, {}).join(QStringLiteral("; ")); }

private:
    QStringList seen;
};

// Each fragment as "text[style]": "ink" in full, "dim" at 0.82, then b, i, mono, or a link.
QString fragments(const QString &html)
{
    QTextDocument document;
    document.setHtml(html);
    QString result;
    for (auto it = document.begin().begin(); !it.atEnd(); ++it) {
        const QTextCharFormat f = it.fragment().charFormat();
        const QColor c = f.foreground().color();
        QStringList style{f.isAnchor() ? QStringLiteral("a=") + f.anchorHref()
                              : c == kInk ? QStringLiteral("ink")
                              : c.rgb() == kInk.rgb() && c.alpha() == 209 ? QStringLiteral("dim")
                                                                          : c.name(QColor::HexArgb)};
        if (f.fontWeight() >= QFont::Bold)
            style << QStringLiteral("b");
        if (f.fontItalic())
            style << QStringLiteral("i");
        if (f.fontFamilies().toStringList().contains(QStringLiteral("monospace")))
            style << QStringLiteral("mono");
        result += QStringLiteral("%1[%2]").arg(it.fragment().text(), style.join(QLatin1Char(' ')));
    }
    return result;
}
} // namespace

class ScreenModelsTest : public QObject
{
    Q_OBJECT

    // "Me 10.0 some words": speaker ("_" for an empty raw value), timestamp, text.
    void store(const QString &line)
    {
        const QStringList parts = line.split(QLatin1Char(' '));
        TranscriptSegment segment;
        segment.speakerRaw = parts.at(0) == QLatin1String("_") ? QString() : parts.at(0);
        segment.timestamp = parts.at(1).toDouble();
        segment.text = parts.mid(2).join(QLatin1Char(' '));
        segment.meetingId = m_meeting;
        QVERIFY(m_store->insert(segment));
        m_lines.append(segment.id);
    }
    // "M:text" for the user's bubbles, "O:text" for the others'; `full` adds id, end and size.
    static QStringList rows(const TranscriptFeedModel &model, bool full = false)
    {
        QStringList result;
        for (int row = 0; row < model.rowCount(); ++row) {
            const QModelIndex i = model.index(row);
            QString text = (i.data(TranscriptFeedModel::IsMeRole).toBool() ? QStringLiteral("M:") : QStringLiteral("O:"))
                + i.data(TranscriptFeedModel::TextRole).toString();
            if (full)
                text += QStringLiteral(" %1 %2 %3").arg(i.data(TranscriptFeedModel::GroupIdRole).toString(),
                                                      i.data(TranscriptFeedModel::EndsAtRole).toString(),
                                                      i.data(TranscriptFeedModel::LineCountRole).toString());
            result << text;
        }
        return result;
    }

    std::unique_ptr<QTemporaryDir> m_dir;
    std::unique_ptr<OndelStore> m_store;
    QUuid m_meeting;
    QList<QUuid> m_lines; // in the order stored

private Q_SLOTS:
    void init()
    {
        m_store.reset();
        m_dir = std::make_unique<QTemporaryDir>();
        m_store = OndelStore::open(m_dir->filePath(QStringLiteral("Ondel.store")));
        const Meeting meeting(QStringLiteral("Standup"), QDateTime::currentDateTimeUtc());
        QVERIFY(m_store && m_store->insert(meeting));
        m_meeting = meeting.id;
        m_lines.clear();
    }

    void grouping_data()
    {
        QTest::addColumn<QStringList>("lines"); // in the order stored
        QTest::addColumn<QStringList>("expected");

        QTest::newRow("1.5 s apart share a bubble") << QStringList{"Me 10.0 a", "Me 11.5 b"} << QStringList{"M:a b"};
        QTest::newRow("1.6 s apart do not") << QStringList{"Me 10.0 a", "Me 11.6 b"} << QStringList{"M:a", "M:b"};
        QTest::newRow("a float gap a hair over 1.5 joins") << QStringList{"Me 0.7 a", "Me 2.2 b"} << QStringList{"M:a b"};
        QTest::newRow("each gap from the line before")
            << QStringList{"Me 10.0 a", "Me 11.0 b", "Me 12.0 c"} << QStringList{"M:a b c"};
        QTest::newRow("Them between two Me lines splits them")
            << QStringList{"Me 10.0 a", "Me 10.8 b", "Them 10.4 x"} << QStringList{"M:a", "O:x", "M:b"};
        QTest::newRow("equal timestamps keep the stored order")
            << QStringList{"Me 5 first", "Me 5 second", "Them 5 x", "Me 5 third"}
            << QStringList{"M:first second", "O:x", "M:third"};
        QTest::newRow("an empty speaker reads as me") << QStringList{"Me 1 a", "_ 2 b"} << QStringList{"M:a b"};
        QTest::newRow("a named speaker is neither me nor Them")
            << QStringList{"Anna 1 a", "Me 1.5 b", "Them 2 c"} << QStringList{"O:a", "M:b", "O:c"};
    }
    // Loading a stored meeting and following it line by line must come to the same bubbles.
    void grouping()
    {
        QFETCH(QStringList, lines);
        QFETCH(QStringList, expected);

        TranscriptFeedModel following(*m_store);
        Tester tester(&following, Tester::FailureReportingMode::QtTest);
        following.setMeetingId(uuidText(m_meeting));
        RowSignals signals_(following);
        for (const QString &line : lines)
            store(line);
        QVERIFY(!signals_.take().contains(QLatin1String("reset")));

        TranscriptFeedModel loaded(*m_store);
        loaded.setMeetingId(uuidText(m_meeting));
        QCOMPARE(rows(loaded), expected);
        QCOMPARE(rows(following, true), rows(loaded, true));
        QCOMPARE(loaded.lineCount(), lines.size());
    }

    void changesTouchOnlyTheRowsTheyAffect_data()
    {
        QTest::addColumn<QStringList>("before");
        QTest::addColumn<QStringList>("change"); // "+Them 11 x" stores a line, "-1" removes the second stored
        QTest::addColumn<QString>("expectedSignals");
        QTest::addColumn<QStringList>("after");
        QTest::addColumn<int>("lineCountChanges");

        QTest::newRow("a line at the end joins the last bubble")
            << QStringList{"Them 1 x", "Me 10 a"} << QStringList{"+Me 11 b"} << "changed 1-1" << QStringList{"O:x", "M:a b"} << 1;
        QTest::newRow("a line at the end starts a bubble")
            << QStringList{"Me 10 a"} << QStringList{"+Them 11 x"} << "inserted 1-1" << QStringList{"M:a", "O:x"} << 1;
        QTest::newRow("a late line splits a bubble")
            << QStringList{"Me 10 a", "Me 11 b", "Them 20 z"} << QStringList{"+Them 10.5 x"} << "changed 0-0; inserted 1-2"
            << QStringList{"M:a", "O:x", "M:b", "O:z"} << 1;
        QTest::newRow("a late line between two bubbles")
            << QStringList{"Me 1 a", "Them 10 z", "Me 20 c"} << QStringList{"+Anna 5 n"} << "inserted 1-1"
            << QStringList{"M:a", "O:n", "O:z", "M:c"} << 1;
        QTest::newRow("a late line before everything")
            << QStringList{"Me 10 a", "Them 20 z"} << QStringList{"+Them 1 x"} << "inserted 0-0" << QStringList{"O:x", "M:a", "O:z"} << 1;
        QTest::newRow("a late line the next bubble takes in")
            << QStringList{"Me 1 a", "Them 10 z", "Me 20 c"} << QStringList{"+Them 9 x"} << "changed 1-1"
            << QStringList{"M:a", "O:x z", "M:c"} << 1;
        QTest::newRow("a removed line lets its neighbours join")
            << QStringList{"Me 10 a", "Them 10.5 x", "Me 11 b", "Them 30 z"} << QStringList{"-1"} << "changed 0-0; removed 1-2"
            << QStringList{"M:a b", "O:z"} << 1;
        QTest::newRow("a mic line replaced by its Them twin keeps the line count")
            << QStringList{"Them 5 q", "Me 10.3 hello", "Me 30 later"} << QStringList{"-1", "+Them 10 hello"}
            << "removed 1-1; inserted 1-1" << QStringList{"O:q", "O:hello", "M:later"} << 0;
    }
    void changesTouchOnlyTheRowsTheyAffect()
    {
        QFETCH(QStringList, before);
        QFETCH(QStringList, change);
        QFETCH(QString, expectedSignals);
        QFETCH(QStringList, after);
        QFETCH(int, lineCountChanges);

        for (const QString &line : before)
            store(line);
        TranscriptFeedModel model(*m_store);
        model.setMeetingId(uuidText(m_meeting));
        Tester tester(&model, Tester::FailureReportingMode::QtTest);
        RowSignals signals_(model);
        QSignalSpy lineCount(&model, &TranscriptFeedModel::lineCountChanged);

        for (const QString &step : change) {
            if (step.startsWith(QLatin1Char('+')))
                store(step.mid(1));
            else
                QVERIFY(m_store->removeSegment(m_lines.at(step.mid(1).toInt())));
        }
        QCOMPARE(signals_.take(), expectedSignals);
        QCOMPARE(rows(model), after);
        settle();
        QCOMPARE(lineCount.size(), lineCountChanges);
        QCOMPARE(model.lineCount(), m_store->segmentCount(m_meeting));

        TranscriptFeedModel loaded(*m_store);
        loaded.setMeetingId(uuidText(m_meeting));
        QCOMPARE(rows(model, true), rows(loaded, true));
    }

    void richText_data()
    {
        QTest::addColumn<QString>("markdown");
        QTest::addColumn<QString>("expected");

        QTest::newRow("strong runs in full ink") << "Ship **on Friday** now" << "Ship [dim]on Friday[ink b] now[dim]";
        QTest::newRow("emphasis and code in a bullet") << "- _soon_ `make`" << "soon[dim i] [dim]make[dim mono]";
        QTest::newRow("a link") << "see [docs](https://x.example/?a=1&b=2)" << "see [dim]docs[a=https://x.example/?a=1&b=2]";
        QTest::newRow("broken markup stays as typed, escaped")
            << "**open <b>tag</b> & \"co\"" << "**open <b>tag</b> & \"co\"[dim]";
        QTest::newRow("blanks are kept") << "a   b" << "a   b[dim]";
        QTest::newRow("an open task") << "- [ ] Send **deck**" << "Send [dim]deck[ink b]";
    }
    void richText()
    {
        QFETCH(QString, markdown);
        QFETCH(QString, expected);

        SummaryBlockModel model;
        model.setInkColor(kInk);
        model.setMarkdown(markdown);
        QCOMPARE(fragments(model.index(0).data(SummaryBlockModel::RichTextRole).toString()), expected);
    }

    void headingsAndDoneTasksArePlain()
    {
        SummaryBlockModel model;
        model.setMarkdown(QStringLiteral("## Next **steps**\r\n- [x] Sent *deck*\n\n- [ ] Book room"));
        const auto at = [&](int row, int role) { return model.index(row).data(role); };
        QCOMPARE(model.rowCount(), 3);
        QCOMPARE(at(0, SummaryBlockModel::KindRole).toInt(), int(SummaryBlockModel::Heading));
        QCOMPARE(at(0, SummaryBlockModel::TextRole).toString(), QStringLiteral("NEXT **STEPS**"));
        QVERIFY(at(0, SummaryBlockModel::IsFirstRole).toBool() && !at(1, SummaryBlockModel::IsFirstRole).toBool());
        QVERIFY(at(1, SummaryBlockModel::DoneRole).toBool());
        QCOMPARE(at(1, SummaryBlockModel::TextRole).toString(), QStringLiteral("Sent *deck*"));
        QVERIFY(at(0, SummaryBlockModel::RichTextRole).toString().isEmpty() && at(1, SummaryBlockModel::RichTextRole).toString().isEmpty());

        // A new ink (the theme turned dark) redraws the rich text.
        RowSignals signals_(model);
        model.setInkColor(kInk);
        QCOMPARE(signals_.take(), QStringLiteral("changed 0-2"));
        QCOMPARE(fragments(at(2, SummaryBlockModel::RichTextRole).toString()), QStringLiteral("Book room[dim]"));
    }

    void growingNotesChangeOnlyTheirTail_data()
    {
        QTest::addColumn<QString>("before");
        QTest::addColumn<QString>("after");
        QTest::addColumn<QString>("expectedSignals");

        QTest::newRow("the last line grows") << "# Notes\n- Ship" << "# Notes\n- Ship it" << "changed 1-1";
        QTest::newRow("a line break alone") << "# Notes\n- Ship" << "# Notes\n- Ship\n" << "";
        QTest::newRow("a block after it") << "# Notes\n- Ship\n" << "# Notes\n- Ship\n- Test" << "inserted 2-2";
        QTest::newRow("a marker becomes a bullet") << "# Notes\n-" << "# Notes\n- x" << "changed 1-1";
        QTest::newRow("an earlier line edited, the tail cut") << "a\nb\nc" << "x\nb" << "changed 0-1; removed 2-2";
    }
    void growingNotesChangeOnlyTheirTail()
    {
        QFETCH(QString, before);
        QFETCH(QString, after);
        QFETCH(QString, expectedSignals);

        SummaryBlockModel model, fresh;
        model.setMarkdown(before);
        Tester tester(&model, Tester::FailureReportingMode::QtTest);
        RowSignals signals_(model);
        model.setMarkdown(after);
        QCOMPARE(signals_.take(), expectedSignals);
        fresh.setMarkdown(after);
        QCOMPARE(model.rowCount(), fresh.rowCount());
        for (int row = 0; row < model.rowCount(); ++row) {
            for (int role : {SummaryBlockModel::KindRole, SummaryBlockModel::TextRole, SummaryBlockModel::RichTextRole})
                QCOMPARE(model.index(row).data(role), fresh.index(row).data(role));
        }
    }

    void copyTickStaysUpFromTheFirstClick_data()
    {
        QTest::addColumn<QString>("timeline"); // milliseconds: "c" a click, "+" tick up, "-" down

        QTest::newRow("one click") << "0c 0+ 1399+ 1400-";
        QTest::newRow("a second click keeps the first one's time") << "0c 1000c 1399+ 1400- 2399-";
        QTest::newRow("a click after it went down starts again") << "0c 1500c 1500+ 2899+ 2900-";
    }
    void copyTickStaysUpFromTheFirstClick()
    {
        QFETCH(QString, timeline);

        FakeClock clock;
        CopyConfirmation tick(clock);
        int now = 0;
        for (const QString &step : timeline.split(QLatin1Char(' '))) {
            const int at = step.chopped(1).toInt();
            clock.advance(std::chrono::milliseconds(at - now));
            now = at;
            if (step.endsWith(QLatin1Char('c')))
                tick.confirm();
            else
                QVERIFY2(tick.copied() == step.endsWith(QLatin1Char('+')), qPrintable(step));
        }
    }

    void chatTurnsAreInTimeOrderAndNewOnesAppend()
    {
        const QDateTime start = QDateTime::currentDateTimeUtc();
        const auto add = [&](ChatRole role, const QString &text, int second) {
            ChatMessage message(role, text, std::nullopt);
            message.createdAt = start.addSecs(second);
            message.meetingId = m_meeting;
            return m_store->insert(message) ? message.id : QUuid();
        };
        const auto turns = [](const ChatMessageListModel &model) {
            QStringList result;
            for (int row = 0; row < model.rowCount(); ++row)
                result << (model.index(row).data(ChatMessageListModel::IsUserRole).toBool() ? "user:" : "ai:")
                        + model.index(row).data(ChatMessageListModel::TextRole).toString();
            return result;
        };
        add(ChatRole::Assistant, QStringLiteral("Friday"), 2);
        const QUuid question = add(ChatRole::User, QStringLiteral("When?"), 1);

        ChatMessageListModel model(*m_store);
        Tester tester(&model, Tester::FailureReportingMode::QtTest);
        model.setMeetingId(uuidText(m_meeting));
        QCOMPARE(turns(model), (QStringList{"user:When?", "ai:Friday"}));
        QCOMPARE(model.index(0).data(ChatMessageListModel::IdRole).toString(), uuidText(question));

        RowSignals signals_(model);
        add(ChatRole::User, QStringLiteral("Who?"), 3);
        QCOMPARE(signals_.take(), QStringLiteral("inserted 2-2"));
        QVERIFY(m_store->removeChatMessage(question));
        QCOMPARE(signals_.take(), QStringLiteral("reset"));
        QCOMPARE(turns(model), (QStringList{"ai:Friday", "user:Who?"}));
    }

    void pickerMarksTheChosenModel_data()
    {
        QTest::addColumn<QString>("stored");
        QTest::addColumn<int>("chosenRow");
        QTest::addColumn<QString>("chosenName");

        QTest::newRow("the default") << "fast" << 0 << "Auto";
        QTest::newRow("a listed model") << "kimi-k2.6" << 4 << "Kimi K2.6";
        QTest::newRow("a model no longer offered") << "gpt-4-retired" << 0 << "Auto";
    }
    void pickerMarksTheChosenModel()
    {
        QFETCH(QString, stored);
        QFETCH(int, chosenRow);
        QFETCH(QString, chosenName);

        Settings settings(m_dir->filePath(QStringLiteral("settings.json")));
        settings.setChatModel(stored);
        ChatModelMenu menu(settings);
        Tester tester(&menu, Tester::FailureReportingMode::QtTest);
        const auto column = [&](int role) {
            QStringList values;
            for (int row = 0; row < menu.rowCount(); ++row)
                values << menu.index(row).data(role).toString();
            return values;
        };
        QStringList names{"Auto", ""}, chosen(menu.rowCount(), "false");
        for (const ChatModel &model : ChatModel::choices())
            names << model.name;
        chosen[chosenRow] = "true";
        QCOMPARE(column(ChatModelMenu::NameRole), names);
        QCOMPARE(column(ChatModelMenu::IsDividerRole).indexOf("true"), 1);
        QCOMPARE(column(ChatModelMenu::IsChosenRole), chosen);
        QCOMPARE(menu.chosenName(), chosenName);

        QSignalSpy changed(&menu, &ChatModelMenu::chosenChanged);
        menu.choose(QStringLiteral("claude-opus-5"));
        QCOMPARE(settings.chatModel(), QStringLiteral("claude-opus-5"));
        QCOMPARE(changed.size(), 1);
        QCOMPARE(menu.chosenName(), QStringLiteral("Claude Opus 5"));
        QCOMPARE(column(ChatModelMenu::IsChosenRole).lastIndexOf("true"), menu.rowCount() - 1);
    }
};

int main(int argc, char **argv)
{
    TestEnvironment environment;
    QGuiApplication app(argc, argv); // rich text needs fonts
    ScreenModelsTest test;
    return QTest::qExec(&test, argc, argv);
}

#include "tst_screenmodels.moc"
