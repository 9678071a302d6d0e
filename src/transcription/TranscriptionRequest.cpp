#include "TranscriptionRequest.h"

#include "WavFile.h"

#include <QUuid>

namespace {

void appendField(QByteArray &out, const QByteArray &boundary, QByteArrayView name, const QString &value)
{
    out += "--";
    out += boundary;
    out += "\r\nContent-Disposition: form-data; name=\"";
    out += name;
    out += "\"\r\n\r\n";
    out += value.toUtf8();
    out += "\r\n";
}

} // namespace

QByteArray TranscriptionRequest::wavFile(QByteArrayView pcm16, int sampleRate)
{
    return WavFile::mono16(pcm16, sampleRate);
}

QByteArray TranscriptionRequest::newBoundary()
{
    // Hex digits and dashes only: upper-cased as bytes, without the Unicode case tables.
    return "ondel-" + QUuid::createUuid().toByteArray(QUuid::WithoutBraces).toUpper();
}

QByteArray TranscriptionRequest::contentType(const QByteArray &boundary)
{
    return "multipart/form-data; boundary=" + boundary;
}

QByteArray TranscriptionRequest::multipartBody(const QByteArray &boundary, const Fields &fields, QByteArrayView wav)
{
    QByteArray out;
    out.reserve(wav.size() + 1024 + fields.prompt.size() * 3);
    appendField(out, boundary, "model", fields.model);
    if (!fields.prompt.isEmpty())
        appendField(out, boundary, "prompt", fields.prompt);
    if (fields.language && !fields.language->isEmpty())
        appendField(out, boundary, "language", *fields.language);
    appendField(out, boundary, "response_format", QStringLiteral("verbose_json"));
    appendField(out, boundary, "temperature", QStringLiteral("0"));

    out += "--";
    out += boundary;
    out += "\r\nContent-Disposition: form-data; name=\"file\"; filename=\"utterance.wav\"\r\n"
           "Content-Type: audio/wav\r\n\r\n";
    out += wav;
    out += "\r\n--";
    out += boundary;
    out += "--\r\n";
    return out;
}

QUrl TranscriptionRequest::endpoint(const QUrl &baseURL)
{
    QUrl url = baseURL;
    QString path = url.path();
    if (!path.endsWith(QLatin1Char('/')))
        path += QLatin1Char('/');
    url.setPath(path + QStringLiteral("v1/audio/transcriptions"));
    return url;
}
