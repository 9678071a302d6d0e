#include "AudioFileReader.h"

#include <samplerate.h>
#include <sndfile.h>

#include <QFile>

AudioFileReader::Result AudioFileReader::read(const QString &path)
{
    Result result;
    if (!QFile::exists(path)) {
        result.error = QStringLiteral("No such file: %1").arg(path);
        return result;
    }
    SF_INFO info{};
    const QByteArray name = QFile::encodeName(path);
    SNDFILE *file = sf_open(name.constData(), SFM_READ, &info);
    if (!file) {
        result.error = QStringLiteral("Cannot read %1 as audio: %2").arg(path, QString::fromUtf8(sf_strerror(nullptr)));
        return result;
    }
    result.sourceRate = info.samplerate;
    result.sourceChannels = info.channels;
    if (info.samplerate <= 0 || info.channels <= 0) {
        sf_close(file);
        result.error = QStringLiteral("%1 has no usable audio format").arg(path);
        return result;
    }

    // Down-mix as the recorders do: the mean of each frame's channels.
    std::vector<float> mono;
    if (info.frames > 0)
        mono.reserve(std::size_t(info.frames));
    std::vector<float> frames(std::size_t(4096) * std::size_t(info.channels));
    for (;;) {
        const sf_count_t read = sf_readf_float(file, frames.data(), 4096);
        if (read <= 0)
            break;
        for (sf_count_t f = 0; f < read; ++f) {
            float sum = 0;
            for (int c = 0; c < info.channels; ++c)
                sum += frames[std::size_t(f) * std::size_t(info.channels) + std::size_t(c)];
            mono.push_back(sum / float(info.channels));
        }
    }
    const int readError = sf_error(file);
    sf_close(file);
    if (readError != SF_ERR_NO_ERROR && mono.empty()) {
        result.error = QStringLiteral("Cannot decode %1: %2").arg(path, QString::fromUtf8(sf_error_number(readError)));
        return result;
    }
    if (mono.empty()) {
        result.error = QStringLiteral("%1 holds no audio").arg(path);
        return result;
    }

    if (info.samplerate == targetRate) {
        result.samples = std::move(mono);
        return result;
    }
    const double ratio = double(targetRate) / double(info.samplerate);
    result.samples.resize(std::size_t(double(mono.size()) * ratio) + 16);
    SRC_DATA data{};
    data.data_in = mono.data();
    data.input_frames = long(mono.size());
    data.data_out = result.samples.data();
    data.output_frames = long(result.samples.size());
    data.src_ratio = ratio;
    data.end_of_input = 1;
    if (const int error = src_simple(&data, SRC_SINC_MEDIUM_QUALITY, 1); error != 0) {
        result.samples.clear();
        result.error = QStringLiteral("Cannot convert %1 to 24000 Hz: %2").arg(path, QString::fromUtf8(src_strerror(error)));
        return result;
    }
    result.samples.resize(std::size_t(data.output_frames_gen));
    return result;
}
