#pragma once

#include <QByteArray>
#include <QString>

// What one upload came to: text (possibly empty, which is no failure) or a failure whose
// description is the user's text.
struct TranscriptionOutcome
{
    bool ok = false;
    QString text;
    QString error;

    static TranscriptionOutcome success(const QString &text) { return {true, text, {}}; }
    static TranscriptionOutcome failure(const QString &error) { return {false, {}, error}; }
};

// Reads the server's answer to a transcription request.
class TranscriptionAnswer
{
public:
    // Only 200 is a success. A refusal carries the server's message when it has one. The
    // segments, when there are any, are filtered one by one; otherwise the whole text is
    // tested against the blocklist.
    static TranscriptionOutcome read(int status, const QByteArray &body);

    // "error": {"message": ...}, else a top-level "message"; empty when neither is there.
    static QString refusalMessage(const QByteArray &body);
};
