#include "WavFile.h"

#include <QtEndian>

namespace {
template<typename T>
void appendLittleEndian(QByteArray &out, T value)
{
    char bytes[sizeof(T)];
    qToLittleEndian(value, bytes);
    out.append(bytes, sizeof(T));
}
} // namespace

QByteArray WavFile::mono16(QByteArrayView pcm16, int sampleRate)
{
    const auto dataSize = quint32(pcm16.size());
    QByteArray out;
    out.reserve(44 + pcm16.size());
    out += "RIFF";
    appendLittleEndian<quint32>(out, dataSize + 36);
    out += "WAVEfmt ";
    appendLittleEndian<quint32>(out, 16);
    appendLittleEndian<quint16>(out, 1); // PCM
    appendLittleEndian<quint16>(out, 1); // mono
    appendLittleEndian<quint32>(out, quint32(sampleRate));
    appendLittleEndian<quint32>(out, quint32(sampleRate) * 2); // byte rate
    appendLittleEndian<quint16>(out, 2);                       // block align
    appendLittleEndian<quint16>(out, 16);                      // bits per sample
    out += "data";
    appendLittleEndian<quint32>(out, dataSize);
    out += pcm16;
    return out;
}
