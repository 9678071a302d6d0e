#include "Clock.h"
#include "MeetingChatService.h"
#include "OndelStore.h"
#include "SessionDoubles.h"
#include "Settings.h"
#include "SummaryMarkdown.h"

#include <QNetworkAccessManager>
#include <QNetworkReply>
#include <QTemporaryDir>

#include <benchmark/benchmark.h>

#include <cstring>

namespace {

// Notes as a model writes them: sections of bullets, tasks and the odd paragraph, some bold.
QString notesOf(int lines)
{
    QStringList out;
    for (int i = 0; out.size() < lines; ++i) {
        out << QStringLiteral("## Section %1").arg(i);
        out << QStringLiteral("- **Giá mới** áp dụng từ tháng %1, đã thống nhất với bên bán hàng").arg(i % 12 + 1);
        out << QStringLiteral("  - nested detail with a [link](https://example.com/%1) and `code`").arg(i);
        out << QStringLiteral("- [ ] Lan gửi bản đề xuất trước thứ Sáu");
        out << QStringLiteral("- [x] Minh đã chốt ngân sách");
        out << QStringLiteral("A paragraph line that explains the decision in a sentence or two, as notes sometimes do.");
        out << QString();
    }
    return out.mid(0, lines).join(QLatin1Char('\n'));
}

} // namespace

// The notes view parses on every drawing, so a long meeting's notes must parse well inside a frame.
static void BM_ParseNotes5000Lines(benchmark::State &state)
{
    const QString markdown = notesOf(5000);
    qsizetype blocks = 0;
    for (auto _ : state) {
        const QList<SummaryBlock> parsed = SummaryMarkdown::parse(markdown);
        blocks = parsed.size();
        benchmark::DoNotOptimize(parsed.constData());
    }
    state.counters["blocks"] = double(blocks);
}
BENCHMARK(BM_ParseNotes5000Lines)->Unit(benchmark::kMillisecond);

namespace {

// A reply whose bytes the benchmark hands in itself, so that only Ondel's work is measured:
// reading the piece, parsing its line and JSON, and publishing the grown answer.
class FedReply final : public QNetworkReply
{
public:
    FedReply(const QNetworkRequest &request, QObject *parent)
        : QNetworkReply(parent)
    {
        setRequest(request);
        setUrl(request.url());
        setOperation(QNetworkAccessManager::PostOperation);
        setAttribute(QNetworkRequest::HttpStatusCodeAttribute, 200);
        open(QIODevice::ReadOnly | QIODevice::Unbuffered);
    }
    void feed(const QByteArray &bytes)
    {
        m_data += bytes;
        Q_EMIT readyRead();
    }
    void abort() override {}
    bool isSequential() const override { return true; }
    qint64 bytesAvailable() const override { return m_data.size() + QNetworkReply::bytesAvailable(); }

protected:
    qint64 readData(char *data, qint64 maxSize) override
    {
        const qint64 n = qMin<qint64>(maxSize, m_data.size());
        std::memcpy(data, m_data.constData(), size_t(n));
        m_data.remove(0, n);
        return n;
    }

private:
    QByteArray m_data;
};

class FedNetwork final : public QNetworkAccessManager
{
public:
    FedReply *last = nullptr;

protected:
    QNetworkReply *createRequest(Operation, const QNetworkRequest &request, QIODevice *) override
    {
        last = new FedReply(request, this);
        return last;
    }
};

} // namespace

// One streamed piece of a chat answer, from its bytes to the grown answer a view reads.
static void BM_ChatStreamedPiece(benchmark::State &state)
{
    QTemporaryDir dir;
    std::unique_ptr<OndelStore> store = OndelStore::open(dir.filePath(QStringLiteral("Ondel.store")));
    Settings settings(dir.filePath(QStringLiteral("settings.json")));
    FakeCredentials credentials;
    FedNetwork network;
    MeetingChatService chat(*store, settings, credentials, Clock::system(), network);
    qsizetype shown = 0;
    QObject::connect(&chat, &MeetingChatService::streamingAnswerChanged, [&] { shown = chat.streamingAnswer().size(); });
    Meeting meeting(QStringLiteral("Bench"), QDateTime::currentDateTimeUtc());
    store->insert(meeting);

    const QByteArray piece = R"(data: {"id":"chatcmpl-1","object":"chat.completion.chunk","created":1767225600,"model":"fast",)"
                             R"("choices":[{"index":0,"delta":{"content":" ngân sách"},"finish_reason":null}]})"
                             "\n\n";
    int inAnswer = 0;
    for (auto _ : state) {
        if (inAnswer == 0) {
            // A fresh question now and then, so the answer stays the length of a real one.
            state.PauseTiming();
            chat.ask(QStringLiteral("Chốt gì?"), meeting.id);
            state.ResumeTiming();
        }
        network.last->feed(piece);
        inAnswer = (inAnswer + 1) % 400;
    }
    state.counters["answer_chars"] = double(shown);
}
BENCHMARK(BM_ChatStreamedPiece)->Unit(benchmark::kMicrosecond);
