#include "ChatMessage.h"
#include "Meeting.h"
#include "Speaker.h"

#include <QJsonDocument>
#include <QTest>

Q_DECLARE_METATYPE(QList<TranscriptSegment>)

namespace {
TranscriptSegment line(const QString &speakerRaw, double timestamp, const QString &text)
{
    TranscriptSegment s;
    s.speakerRaw = speakerRaw;
    s.timestamp = timestamp;
    s.text = text;
    return s;
}
} // namespace

class TestRecords : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void formattedTranscript_data()
    {
        QTest::addColumn<QList<TranscriptSegment>>("segments");
        QTest::addColumn<QString>("expected");

        QTest::newRow("no lines") << QList<TranscriptSegment>{} << QString();
        QTest::newRow("runs merge, speakers alternate")
            << QList<TranscriptSegment>{line("Me", 0, "hello"), line("Me", 1, "there"), line("Them", 2, "hi"), line("Me", 3, "ok")}
            << "Speaker A: hello there\nSpeaker B: hi\nSpeaker A: ok";
        QTest::newRow("sorted by time, not by arrival")
            << QList<TranscriptSegment>{line("Them", 5, "later"), line("Me", 1, "first")}
            << "Speaker A: first\nSpeaker B: later";
        QTest::newRow("equal timestamps keep stored order and merge")
            << QList<TranscriptSegment>{line("Me", 2, "one"), line("Me", 2, "two"), line("Them", 2, "three")}
            << "Speaker A: one two\nSpeaker B: three";
        QTest::newRow("empty raw value reads as me and joins its run")
            << QList<TranscriptSegment>{line("Me", 0, "a"), line("", 1, "b"), line("Them", 2, "c")}
            << "Speaker A: a b\nSpeaker B: c";
        QTest::newRow("other named like a label is still another speaker")
            << QList<TranscriptSegment>{line("Me", 0, "a"), line("Speaker A", 1, "b")}
            << "Speaker A: a\nSpeaker A: b";
        QTest::newRow("named speakers keep their names")
            << QList<TranscriptSegment>{line("Anna", 0, "xin chào"), line("Anna", 1, "các bạn"), line("Bình", 2, "chào")}
            << QString::fromUtf8("Anna: xin chào các bạn\nBình: chào");
    }
    void formattedTranscript()
    {
        QFETCH(QList<TranscriptSegment>, segments);
        QFETCH(QString, expected);
        QCOMPARE(Meeting::formattedTranscript(segments), expected);
    }

    void derivedFlags()
    {
        Meeting m;
        QVERIFY(!m.hasUserNotes());
        m.userNotes = QStringLiteral("  \n\t \n");
        QVERIFY(!m.hasUserNotes());
        m.userNotes = QStringLiteral("\n- ask about budget\n");
        QVERIFY(m.hasUserNotes());

        QVERIFY(m.allowsAITitle());
        m.calendarEventId = QStringLiteral("evt-1"); // linked, title never edited
        QVERIFY(!m.allowsAITitle());
        m.calendarEventId.reset();
        m.titleIsUserEdited = true;
        QVERIFY(!m.allowsAITitle());
    }

    void speakerRawMapping_data()
    {
        QTest::addColumn<QString>("raw");
        QTest::addColumn<bool>("hasValue");
        QTest::addColumn<int>("kind");
        QTest::addColumn<QString>("label");

        QTest::newRow("Me") << "Me" << true << int(Speaker::Kind::Me) << "Speaker A";
        QTest::newRow("Them") << "Them" << true << int(Speaker::Kind::Them) << "Speaker B";
        QTest::newRow("name") << "Anna" << true << int(Speaker::Kind::Other) << "Anna";
        QTest::newRow("case matters") << "me" << true << int(Speaker::Kind::Other) << "me";
        QTest::newRow("empty") << "" << false << -1 << "";
    }
    void speakerRawMapping()
    {
        QFETCH(QString, raw);
        QFETCH(bool, hasValue);
        QFETCH(int, kind);
        QFETCH(QString, label);
        const std::optional<Speaker> speaker = Speaker::fromRaw(raw);
        QCOMPARE(speaker.has_value(), hasValue);
        if (!speaker) {
            QCOMPARE(Speaker::fromRawOrMe(raw), Speaker::me());
            return;
        }
        QCOMPARE(int(speaker->kind()), kind);
        QCOMPARE(speaker->label(), label);
        QCOMPARE(speaker->rawValue(), raw);
    }

    void speakerEquality()
    {
        QCOMPARE(Speaker::other(QStringLiteral("Anna")), Speaker::other(QStringLiteral("Anna")));
        QVERIFY(!(Speaker::other(QStringLiteral("Anna")) == Speaker::other(QStringLiteral("Bình"))));
        QVERIFY(!(Speaker::other(QStringLiteral("Me")) == Speaker::me()));
        QCOMPARE(qHash(Speaker::other(QStringLiteral("Anna"))), qHash(Speaker::other(QStringLiteral("Anna"))));
    }

    void speakerJson_data()
    {
        QTest::addColumn<QByteArray>("json");
        QTest::addColumn<QString>("raw"); // empty: decoding fails
        QTest::addColumn<QString>("error");

        const QString keys = QStringLiteral("Invalid number of keys found, expected one.");
        QTest::newRow("me") << QByteArray(R"({"me":{}})") << "Me" << QString();
        QTest::newRow("them") << QByteArray(R"({"them":{}})") << "Them" << QString();
        QTest::newRow("other") << QByteArray(R"({"other":{"_0":"Anna"}})") << "Anna" << QString();
        QTest::newRow("no key") << QByteArray("{}") << QString() << keys;
        QTest::newRow("two keys") << QByteArray(R"({"me":{},"them":{}})") << QString() << keys;
        QTest::newRow("unknown key") << QByteArray(R"({"you":{}})") << QString() << keys;
        QTest::newRow("other without a name") << QByteArray(R"({"other":{}})") << QString() << QString();
    }
    void speakerJson()
    {
        QFETCH(QByteArray, json);
        QFETCH(QString, raw);
        QFETCH(QString, error);
        QString why;
        const std::optional<Speaker> decoded = Speaker::fromJson(QJsonDocument::fromJson(json).object(), &why);
        if (raw.isEmpty()) {
            QVERIFY(!decoded);
            QVERIFY(!why.isEmpty());
            if (!error.isEmpty())
                QCOMPARE(why, error);
            return;
        }
        QVERIFY(decoded);
        QCOMPARE(decoded->rawValue(), raw);
        // Encoding gives back the same bytes.
        QCOMPARE(QJsonDocument(decoded->toJson()).toJson(QJsonDocument::Compact), json);
    }

    void chatRoles()
    {
        QCOMPARE(chatRoleFromRaw(QStringLiteral("assistant")), ChatRole::Assistant);
        QCOMPARE(chatRoleFromRaw(QStringLiteral("user")), ChatRole::User);
        QVERIFY(!chatRoleFromRaw(QStringLiteral("system")));
    }
};

QTEST_GUILESS_MAIN(TestRecords)
#include "tst_records.moc"
