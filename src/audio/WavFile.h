#pragma once

#include <QByteArray>
#include <QByteArrayView>

// A WAV file of 16-bit mono PCM in memory: the 44-byte header, then the samples as given.
namespace WavFile {
QByteArray mono16(QByteArrayView pcm16, int sampleRate);
}
