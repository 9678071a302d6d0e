#pragma once

#include <QByteArray>
#include <QByteArrayView>
#include <QString>

#include <functional>
#include <optional>

// Reads a chat-completions event stream as its bytes arrive: whole lines only, "data:" lines
// carry a JSON delta, "[DONE]" (with or without a blank) ends it. Anything else, keep-alive
// comments and unparsable lines among them, is skipped.
class ChatStreamParser
{
public:
    using OnPiece = std::function<void(const QString &piece)>;

    // Hands on each piece of text in `bytes`; true once the stream has said it is done.
    bool feed(QByteArrayView bytes, const OnPiece &onPiece);
    // The stream's end: its last line needs no line break.
    bool finish(const OnPiece &onPiece);
    bool isDone() const { return m_done; }

    // What one line says: a piece, nothing, or (through `done`) the end.
    static std::optional<QString> pieceOf(QByteArrayView line, bool *done);

private:
    void takeLine(const OnPiece &onPiece);

    QByteArray m_line;
    bool m_afterCarriageReturn = false;
    bool m_done = false;
};
