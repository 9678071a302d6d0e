#pragma once

#include <QByteArray>
#include <QByteArrayView>
#include <QString>
#include <QUrl>

#include <optional>

// The speech-to-text request on the wire: a WAV file in a multipart form. The body is written
// by hand because its exact bytes are the contract with the server.
class TranscriptionRequest
{
public:
    struct Fields
    {
        QString model;
        // Sent only when not empty.
        QString prompt;
        // Sent only when present and not empty; absent lets the model detect the language.
        std::optional<QString> language;
    };

    // A 44-byte RIFF header for mono 16-bit PCM, then the samples.
    static QByteArray wavFile(QByteArrayView pcm16, int sampleRate);

    // "ondel-" and a new upper-case UUID: new for every request, retries included.
    static QByteArray newBoundary();
    static QByteArray contentType(const QByteArray &boundary);
    // model, prompt, language, response_format, temperature, then the file.
    static QByteArray multipartBody(const QByteArray &boundary, const Fields &fields, QByteArrayView wav);

    // "v1/audio/transcriptions" under the credentials' base.
    static QUrl endpoint(const QUrl &baseURL);
};
