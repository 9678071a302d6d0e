#pragma once

#include <QByteArray>
#include <QByteArrayView>
#include <QString>
#include <QStringView>

// Plain base64 between bytes and text, written into buffers the caller keeps. The audio path
// turns every chunk into text and back ten times a second per stream; Qt's own functions go
// through a Latin-1 copy and fresh allocations each time.
class Base64Text
{
public:
    // Standard alphabet, "=" padding, no line breaks: what QByteArray::toBase64() gives.
    static void encode(QByteArrayView bytes, QString &text);
    // Strict, as QByteArray::fromBase64Encoding with AbortOnBase64DecodingErrors: false for any
    // character outside the alphabet and for misplaced padding, and `bytes` is then unspecified.
    static bool decode(QStringView text, QByteArray &bytes);
};
