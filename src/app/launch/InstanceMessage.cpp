#include "InstanceMessage.h"

#include <QStringDecoder>
#include <QtEndian>

QByteArray InstanceMessage::encode(const QStringList &arguments)
{
    QByteArray payload;
    for (const QString &argument : arguments) {
        if (argument.contains(QChar(0)))
            continue;
        const QByteArray bytes = argument.toUtf8();
        if (payload.size() + bytes.size() + 1 > maxPayload)
            continue; // a later, shorter one may still fit
        payload += bytes;
        payload += '\0';
    }
    QByteArray message(magic);
    message.resize(headerSize);
    qToBigEndian<quint32>(quint32(payload.size()), message.data() + 4);
    return message + payload;
}

InstanceMessage::Result InstanceMessage::decode(const QByteArray &received, QStringList *arguments)
{
    const QByteArray expected(magic);
    // Anything that does not begin like a message is turned away at its first bytes.
    if (!expected.startsWith(received.left(expected.size())))
        return Result::Invalid;
    if (received.size() < headerSize)
        return Result::Incomplete;
    const quint32 length = qFromBigEndian<quint32>(received.constData() + 4);
    if (length > quint32(maxPayload))
        return Result::Invalid;
    if (received.size() < headerSize + qsizetype(length))
        return Result::Incomplete;

    const QByteArray payload = received.mid(headerSize, length);
    if (!payload.isEmpty() && !payload.endsWith('\0'))
        return Result::Invalid;
    QStringDecoder utf8(QStringDecoder::Utf8);
    const QString text = utf8(payload);
    if (utf8.hasError())
        return Result::Invalid;
    QStringList list = text.split(QChar(0));
    list.removeLast(); // after the last terminator, or the one entry of an empty payload
    *arguments = list;
    return Result::Complete;
}
