#include "Base64Text.h"

#include <QRandomGenerator>
#include <QTest>

namespace {

QByteArray bytesOf(int size, quint32 seed)
{
    QRandomGenerator random(seed);
    QByteArray bytes(size, Qt::Uninitialized);
    for (char &b : bytes)
        b = char(random.bounded(256));
    return bytes;
}

// What Qt's strict decoder makes of a text: the reference the fast one must agree with.
std::optional<QByteArray> qtDecoded(const QString &text)
{
    const auto result = QByteArray::fromBase64Encoding(text.toLatin1(), QByteArray::AbortOnBase64DecodingErrors);
    return result ? std::optional<QByteArray>(*result) : std::nullopt;
}

std::optional<QByteArray> decoded(const QString &text)
{
    QByteArray bytes = "left over from before";
    return Base64Text::decode(text, bytes) ? std::optional<QByteArray>(bytes) : std::nullopt;
}

} // namespace

class TestBase64Text : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    // Every length of tail, and a whole chunk of 16-bit audio.
    void encodesAsQtDoes_data()
    {
        QTest::addColumn<QByteArray>("bytes");
        for (int size : {0, 1, 2, 3, 4, 5, 6, 7, 4800, 4802})
            QTest::newRow(qPrintable(QStringLiteral("%1 bytes").arg(size))) << bytesOf(size, quint32(size));
    }
    void encodesAsQtDoes()
    {
        QFETCH(QByteArray, bytes);
        QString text = QStringLiteral("a longer text that was here before, which must not show through");
        const QString kept = text;
        Base64Text::encode(bytes, text);
        QCOMPARE(text, QString::fromLatin1(bytes.toBase64()));
        QCOMPARE(kept, QStringLiteral("a longer text that was here before, which must not show through"));
        QCOMPARE(decoded(text), std::optional<QByteArray>(bytes));
    }

    // What the mixed texts below never are: empty, of a length that is no multiple of four, or
    // beyond Latin-1.
    void decodesAsQtDoes_data()
    {
        QTest::addColumn<QString>("text");
        QTest::newRow("empty") << QString();
        QTest::newRow("no pads, short") << QStringLiteral("QUJDRA");
        QTest::newRow("no pads, odd bits") << QStringLiteral("QUJDR");
        QTest::newRow("pad on a short text") << QStringLiteral("QQ=");
        QTest::newRow("words") << QStringLiteral("not base64!");
        QTest::newRow("line break") << QStringLiteral("QUJD\nQUJD");
        QTest::newRow("beyond latin-1") << QStringLiteral("QUJ一");
    }
    void decodesAsQtDoes()
    {
        QFETCH(QString, text);
        QCOMPARE(decoded(text), qtDecoded(text));
    }

    // Texts of every length from a few characters, most of them valid, many not.
    void agreesWithQtOnMixedTexts()
    {
        static const QString characters = QStringLiteral("ABCxyz0189+/=-_ \n!é");
        QRandomGenerator random(7);
        for (int n = 0; n < 3000; ++n) {
            QString text = QString::fromLatin1(bytesOf(random.bounded(3, 40), quint32(n)).toBase64());
            for (int edits = random.bounded(3); edits > 0; --edits)
                text[random.bounded(text.size())] = characters.at(random.bounded(characters.size()));
            QCOMPARE(decoded(text), qtDecoded(text));
        }
    }
};

QTEST_APPLESS_MAIN(TestBase64Text)
#include "tst_base64text.moc"
