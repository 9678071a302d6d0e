// The notes drawn as blocks, the chat's turns and its model picker, over a real store and a
// real settings file. The rich text is read back through Qt's own rich-text engine.
#include "ChatMessageListModel.h"
#include "ChatModel.h"
#include "ChatModelMenu.h"
#include "CopyConfirmation.h"
#include "FakeClock.h"
#include "OndelStore.h"
#include "RowSignals.h"
#include "Settings.h"
#include "SummaryBlockModel.h"
#include "TestEnvironment.h"
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

    QTemporaryDir m_dir;

private Q_SLOTS:
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
        std::unique_ptr<OndelStore> store = OndelStore::open(m_dir.filePath(QStringLiteral("chat.store")));
        const Meeting meeting(QStringLiteral("Retro"), QDateTime::currentDateTimeUtc());
        QVERIFY(store && store->insert(meeting));
        const auto add = [&](ChatRole role, const QString &text, int second) {
            ChatMessage message(role, text, std::nullopt);
            message.createdAt = meeting.date.addSecs(second);
            message.meetingId = meeting.id;
            return store->insert(message) ? message.id : QUuid();
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

        ChatMessageListModel model(*store);
        Tester tester(&model, Tester::FailureReportingMode::QtTest);
        model.setMeetingId(uuidText(meeting.id));
        QCOMPARE(turns(model), (QStringList{"user:When?", "ai:Friday"}));
        QCOMPARE(model.index(0).data(ChatMessageListModel::IdRole).toString(), uuidText(question));

        RowSignals signals_(model);
        add(ChatRole::User, QStringLiteral("Who?"), 3);
        QCOMPARE(signals_.take(), QStringLiteral("inserted 2-2"));
        QVERIFY(store->removeChatMessage(question));
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

        Settings settings(m_dir.filePath(QStringLiteral("settings.json")));
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
