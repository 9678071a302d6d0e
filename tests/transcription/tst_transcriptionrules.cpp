#include "EchoSuppressor.h"
#include "TestEnvironment.h"
#include "UtteranceCutter.h"

#include <QTest>

#include <cmath>

// The rules that need no network: cutting a stream into utterances, and finding echoes.
class TestTranscriptionRules : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    // One character per chunk: S speech, T exactly the threshold, - just below, s silence;
    // | stops, > resumes, C commits. Each sent utterance as "chunks@start".
    void cutting_data()
    {
        QTest::addColumn<QString>("pattern");
        QTest::addColumn<double>("wallOffset");
        QTest::addColumn<QString>("sent");
        auto n = [](const char *c, int times) { return QString::fromLatin1(c).repeated(times); };
        QTest::newRow("three speech chunks are a click") << n("S", 3) + n("s", 7) << 0.0 << "";
        QTest::newRow("four and the trailing silence") << n("S", 4) + n("s", 7) << 0.0 << "11@0.00";
        QTest::newRow("after a click, a fresh start") << n("S", 3) + n("s", 7) + n("S", 4) + n("s", 7) << 0.0 << "11@1.00";
        QTest::newRow("leading silence not kept, six keep it open") << n("s", 5) + n("S", 4) + n("s", 6) + "S" + n("s", 7) << 0.0 << "18@0.50";
        QTest::newRow("the threshold is speech") << n("T", 4) + n("s", 7) << 0.0 << "11@0.00";
        QTest::newRow("just below is silence") << n("-", 4) + n("s", 7) << 0.0 << "";
        QTest::newRow("cut at 150, the next chunk opens") << n("S", 154) + n("s", 7) << 0.0 << "150@0.00 11@15.00";
        QTest::newRow("scattered speech closes at the limit") << n("Sssssss", 22) << 0.0 << "150@0.00";
        QTest::newRow("late first chunk") << n("s", 10) + n("S", 4) + n("s", 7) << 2.5 << "11@3.50";
        QTest::newRow("commit sends four") << n("S", 4) + "C" << 0.0 << "4@0.00";
        QTest::newRow("commit drops three") << n("S", 3) + "C" << 0.0 << "";
        QTest::newRow("stopped: dropped, yet counted") << n("S", 2) + "|" + n("S", 10) + ">" + n("S", 4) + n("s", 7) << 0.0 << "11@1.20";
    }
    void cutting()
    {
        QFETCH(QString, pattern);
        QFETCH(double, wallOffset);
        QFETCH(QString, sent);
        const QByteArray chunk(4800, '\0');
        UtteranceCutter cutter;
        QStringList out;
        auto note = [&](const std::optional<UtteranceCutter::Utterance> &u) {
            if (u)
                out << QStringLiteral("%1@%2").arg(u->pcm.size() / chunk.size()).arg(u->startOffset, 0, 'f', 2);
        };
        for (const QChar c : pattern) {
            const float level = c == u'S' ? 0.5f : c == u'T' ? UtteranceCutter::silenceRMSThreshold : c == u'-' ? 0.0119f : 0.0f;
            if (c == u'|')
                cutter.stop();
            else if (c == u'>')
                cutter.resume();
            else if (c == u'C')
                note(cutter.commit());
            else
                note(cutter.push(chunk, level, wallOffset + 600.0 * out.size())); // later wall time never counts
        }
        QCOMPARE(out.join(QLatin1Char(' ')), sent);
    }

    // The root mean square of the scaled samples, to the last bit, whatever way it is summed.
    void level_data()
    {
        QTest::addColumn<QByteArray>("pcm");
        QTest::addColumn<float>("level");
        auto reference = [](const QByteArray &pcm) {
            double sum = 0;
            for (qsizetype i = 0; i + 1 < pcm.size(); i += 2) {
                const double s = qint16(quint8(pcm[i]) | quint8(pcm[i + 1]) << 8) / 32768.0;
                sum += s * s;
            }
            return float(std::sqrt(sum / double(pcm.size() / 2)));
        };
        QByteArray tone(4800, Qt::Uninitialized);
        for (int i = 0; i < 2400; ++i) {
            const auto s = qint16(std::lround(20000.0 * std::sin(i * 0.0575) + 9000.0 * std::sin(i * 0.91)));
            tone[2 * i] = char(s & 0xFF);
            tone[2 * i + 1] = char((s >> 8) & 0xFF);
        }
        QTest::newRow("odd byte ignored") << QByteArray::fromHex("0040 00c0 7f") << 0.5f;
        QTest::newRow("full scale, negative") << QByteArray::fromHex("0080").repeated(2400) << 1.0f;
        QTest::newRow("a chunk of two tones") << tone << reference(tone);
        QTest::newRow("nothing") << QByteArray() << 0.0f;
    }
    void level()
    {
        QFETCH(QByteArray, pcm);
        QFETCH(float, level);
        QCOMPARE(UtteranceCutter::level(pcm), level);
    }

    void echo_data()
    {
        QTest::addColumn<QString>("text");
        QTest::addColumn<QStringList>("candidates"); // "timestamp|text"; the new line is at 10 s
        QTest::addColumn<int>("twin"); // index, or -1
        auto w = [](int from, int count) {
            QStringList out;
            for (int i = from; i < from + count; ++i)
                out << QStringLiteral("w%1").arg(i);
            return out.join(QLatin1Char(' '));
        };
        QTest::newRow("case and punctuation aside") << "Yes, of course." << QStringList{"12|yes of course"} << 0;
        QTest::newRow("two words never") << "OK, thanks" << QStringList{"10|ok thanks"} << -1;
        QTest::newRow("punctuation has no words") << "…!?" << QStringList{"10|…!?"} << -1;
        QTest::newRow("an apostrophe splits") << "don't go now" << QStringList{"10|Don t go now"} << 0;
        QTest::newRow("3.5 s is near") << "yes of course" << QStringList{"13.5|yes of course"} << 0;
        QTest::newRow("3.51 s is not") << "yes of course" << QStringList{"13.51|yes of course", "6.49|yes of course"} << -1;
        QTest::newRow("nine of ten words") << w(0, 10) << QStringList{"10|" + w(0, 9) + " x"} << 0;
        QTest::newRow("eight of ten words") << w(0, 10) << QStringList{"10|" + w(0, 8) + " x y"} << -1;
        QTest::newRow("eight inside twenty") << w(5, 8) << QStringList{"10|" + w(0, 20)} << 0;
        QTest::newRow("seven inside twenty") << w(5, 7) << QStringList{"10|" + w(0, 20)} << -1;
        QTest::newRow("a repeated word counts once") << "go go go now we can all leave" << QStringList{"10|go now we can all leave today please"} << -1;
        QTest::newRow("first in the list, not closest") << "yes of course" << QStringList{"7|no", "13|yes of course", "10|yes of course"} << 1;
        QTest::newRow("Vietnamese with marks") << "Chúng ta họp lúc ba giờ" << QStringList{"9|chúng ta họp lúc ba giờ!"} << 0;
        QTest::newRow("composed and decomposed") << "Cảm ơn anh nhiều"
                                                 << QStringList{"10|" + QStringLiteral("cảm ơn anh nhiều").normalized(QString::NormalizationForm_D)} << 0;
        QTest::newRow("a mark makes another word") << "tôi gặp bà ấy" << QStringList{"10|tôi gặp ba ấy"} << -1;
    }
    void echo()
    {
        QFETCH(QString, text);
        QFETCH(QStringList, candidates);
        QFETCH(int, twin);
        QList<TranscriptSegment> lines;
        for (const QString &c : candidates)
            lines << TranscriptSegment(c.section(QLatin1Char('|'), 1), Speaker::them(), c.section(QLatin1Char('|'), 0, 0).toDouble());
        const std::optional<TranscriptSegment> found = EchoSuppressor::duplicate(text, 10.0, lines);
        QCOMPARE(found ? int(lines.indexOf(*found)) : -1, twin);
    }
};

ONDEL_TEST_MAIN(TestTranscriptionRules)

#include "tst_transcriptionrules.moc"
