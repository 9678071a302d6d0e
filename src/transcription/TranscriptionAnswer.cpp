#include "TranscriptionAnswer.h"

#include "HallucinationFilter.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

#include <algorithm>

namespace {

const QString kMalformed = QStringLiteral("Malformed transcription response");

QString keptSegmentsText(const QJsonArray &segments)
{
    QStringList kept;
    for (const QJsonValue &value : segments) {
        const QJsonObject segment = value.toObject();
        const QJsonValue text = segment.value(QLatin1String("text"));
        if (!text.isString())
            continue;
        const QString trimmed = text.toString().trimmed();
        if (trimmed.isEmpty() || HallucinationFilter::shouldDropSegment(segment, trimmed))
            continue;
        kept << trimmed;
    }
    return kept.join(QLatin1Char(' '));
}

} // namespace

QString TranscriptionAnswer::refusalMessage(const QByteArray &body)
{
    const QJsonObject object = QJsonDocument::fromJson(body).object();
    const QJsonValue error = object.value(QLatin1String("error"));
    if (error.isObject()) {
        const QJsonValue message = error.toObject().value(QLatin1String("message"));
        if (message.isString() && !message.toString().isEmpty())
            return message.toString();
    }
    const QJsonValue message = object.value(QLatin1String("message"));
    if (message.isString() && !message.toString().isEmpty())
        return message.toString();
    return {};
}

TranscriptionOutcome TranscriptionAnswer::read(int status, const QByteArray &body)
{
    if (status != 200) {
        const QString message = refusalMessage(body);
        return TranscriptionOutcome::failure(message.isEmpty() ? QStringLiteral("HTTP %1").arg(status) : message);
    }

    QJsonParseError parseError{};
    const QJsonDocument document = QJsonDocument::fromJson(body, &parseError);
    if (parseError.error != QJsonParseError::NoError || !document.isObject())
        return TranscriptionOutcome::failure(kMalformed);
    const QJsonObject object = document.object();
    const QJsonValue text = object.value(QLatin1String("text"));
    if (object.isEmpty() || !text.isString())
        return TranscriptionOutcome::failure(kMalformed);

    // Segments count only as a non-empty list of objects; any other shape falls back to the
    // whole text, for which the model's doubts are not known.
    const QJsonArray segments = object.value(QLatin1String("segments")).toArray();
    const bool hasSegments = !segments.isEmpty()
        && std::all_of(segments.begin(), segments.end(), [](const QJsonValue &v) { return v.isObject(); });
    if (hasSegments)
        return TranscriptionOutcome::success(keptSegmentsText(segments));
    if (HallucinationFilter::matchesBlocklist(text.toString()))
        return TranscriptionOutcome::success(QString());
    return TranscriptionOutcome::success(text.toString());
}
