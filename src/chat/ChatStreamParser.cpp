#include "ChatStreamParser.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

bool ChatStreamParser::feed(QByteArrayView bytes, const OnPiece &onPiece)
{
    qsizetype start = 0;
    for (qsizetype i = 0; i < bytes.size() && !m_done; ++i) {
        const char c = bytes[i];
        if (c != '\n' && c != '\r')
            continue;
        // "\r\n" is one line break, also when it is split between two reads.
        const bool secondHalf = c == '\n' && i == start && m_afterCarriageReturn && m_line.isEmpty();
        m_afterCarriageReturn = c == '\r';
        m_line.append(bytes.sliced(start, i - start));
        start = i + 1;
        if (!secondHalf)
            takeLine(onPiece);
        m_line.clear();
    }
    if (!m_done && start < bytes.size()) {
        m_line.append(bytes.sliced(start));
        m_afterCarriageReturn = false;
    }
    return m_done;
}

bool ChatStreamParser::finish(const OnPiece &onPiece)
{
    if (!m_done && !m_line.isEmpty())
        takeLine(onPiece);
    m_line.clear();
    return m_done;
}

void ChatStreamParser::takeLine(const OnPiece &onPiece)
{
    bool done = false;
    if (std::optional<QString> piece = pieceOf(m_line, &done))
        onPiece(*piece);
    if (done)
        m_done = true;
}

std::optional<QString> ChatStreamParser::pieceOf(QByteArrayView line, bool *done)
{
    *done = false;
    if (!line.startsWith("data:"))
        return std::nullopt;
    QByteArrayView payload = line.sliced(5);
    while (!payload.isEmpty() && (payload.front() == ' ' || payload.front() == '\t'))
        payload = payload.sliced(1);
    while (!payload.isEmpty() && (payload.back() == ' ' || payload.back() == '\t'))
        payload.chop(1);
    if (payload == "[DONE]") {
        *done = true;
        return std::nullopt;
    }
    const QJsonDocument document = QJsonDocument::fromJson(payload.toByteArray());
    const QJsonValue content = document.object()
                                   .value(QStringLiteral("choices"))
                                   .toArray()
                                   .at(0)
                                   .toObject()
                                   .value(QStringLiteral("delta"))
                                   .toObject()
                                   .value(QStringLiteral("content"));
    if (!content.isString())
        return std::nullopt;
    return content.toString();
}
