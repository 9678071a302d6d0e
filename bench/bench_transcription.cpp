#include "EchoSuppressor.h"
#include "TranscriptionRequest.h"

#include <benchmark/benchmark.h>

#include <cmath>

// The request for the longest utterance there is, 15 s (720,000 bytes of PCM): the WAV file and
// the multipart body around it, built on the upload thread before each attempt. Target: under 2 ms.
static void BM_WavAndMultipartFor15sUtterance(benchmark::State &state)
{
    QByteArray pcm(720000, Qt::Uninitialized);
    for (qsizetype i = 0; i < pcm.size(); ++i)
        pcm[i] = char(i * 31);
    const TranscriptionRequest::Fields fields{QStringLiteral("whisper-v3-turbo"), QStringLiteral("Custom vocabulary: Acme, Ondel. "),
                                              QStringLiteral("vi")};
    for (auto _ : state) {
        const QByteArray wav = TranscriptionRequest::wavFile(pcm, 24000);
        const QByteArray body = TranscriptionRequest::multipartBody(TranscriptionRequest::newBoundary(), fields, wav);
        benchmark::DoNotOptimize(body.constData());
    }
}
BENCHMARK(BM_WavAndMultipartFor15sUtterance)->Unit(benchmark::kMicrosecond);

namespace {

// The other stream of a long meeting: a line of ordinary speech every 1.5 s, 5,000 of them.
QList<TranscriptSegment> otherStream(double spacing)
{
    static const QStringList words = {QStringLiteral("we"), QStringLiteral("should"), QStringLiteral("ship"), QStringLiteral("the"),
                                      QStringLiteral("release"), QStringLiteral("on"), QStringLiteral("friday"), QStringLiteral("after"),
                                      QStringLiteral("review"), QStringLiteral("chúng"), QStringLiteral("ta"), QStringLiteral("họp")};
    QList<TranscriptSegment> lines;
    lines.reserve(5000);
    for (int i = 0; i < 5000; ++i) {
        QStringList line;
        for (int w = 0; w < 12; ++w)
            line << words[(i * 7 + w * 5) % words.size()];
        lines << TranscriptSegment(line.join(QLatin1Char(' ')) + QStringLiteral("."), Speaker::them(), i * spacing);
    }
    return lines;
}

} // namespace

// One new mic line against the whole other side of a meeting of 5,000 lines, with no twin: the
// full list, not just the window the session asks the store for. Target: under 5 ms.
static void BM_EchoCheckAgainst5000Lines(benchmark::State &state)
{
    const QList<TranscriptSegment> candidates = otherStream(1.5);
    const QString line = QStringLiteral("Could you share the numbers for the third quarter before the meeting ends?");
    for (auto _ : state)
        benchmark::DoNotOptimize(EchoSuppressor::duplicate(line, 7000.0, candidates));
}
BENCHMARK(BM_EchoCheckAgainst5000Lines)->Unit(benchmark::kMicrosecond);

// No time rule to help: all 5,000 lines at the same moment, each normalised and compared.
static void BM_EchoCheckAgainst5000LinesAllInWindow(benchmark::State &state)
{
    const QList<TranscriptSegment> candidates = otherStream(0.0);
    const QString line = QStringLiteral("Could you share the numbers for the third quarter before the meeting ends?");
    for (auto _ : state)
        benchmark::DoNotOptimize(EchoSuppressor::duplicate(line, 0.0, candidates));
}
BENCHMARK(BM_EchoCheckAgainst5000LinesAllInWindow)->Unit(benchmark::kMillisecond);
