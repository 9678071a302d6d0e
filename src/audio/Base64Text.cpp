#include "Base64Text.h"

#include <array>
#include <cstring>

namespace {

constexpr char kAlphabet[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";

// The value of each ASCII character, -1 for those outside the alphabet.
constexpr std::array<qint8, 128> kValues = [] {
    std::array<qint8, 128> values{};
    values.fill(-1);
    for (int i = 0; i < 64; ++i)
        values[std::size_t(kAlphabet[i])] = qint8(i);
    return values;
}();

// The two characters of every 12 bits, as they lie in memory: two lookups per three bytes.
constexpr std::array<std::array<char16_t, 2>, 4096> kPairs = [] {
    std::array<std::array<char16_t, 2>, 4096> pairs{};
    for (int i = 0; i < 4096; ++i)
        pairs[std::size_t(i)] = {char16_t(kAlphabet[i >> 6]), char16_t(kAlphabet[i & 63])};
    return pairs;
}();

// The 12 bits of every two ASCII characters, (first << 7) | second; 0xFFFF when either is
// outside the alphabet. Two lookups per group of four.
constexpr std::array<quint16, 128 * 128> kPairValues = [] {
    std::array<quint16, 128 * 128> values{};
    for (int first = 0; first < 128; ++first)
        for (int second = 0; second < 128; ++second) {
            const int high = kValues[std::size_t(first)], low = kValues[std::size_t(second)];
            values[std::size_t(first << 7 | second)] = high < 0 || low < 0 ? 0xFFFF : quint16(high << 6 | low);
        }
    return values;
}();

} // namespace

void Base64Text::encode(QByteArrayView bytes, QString &text)
{
    const auto *in = reinterpret_cast<const uchar *>(bytes.data());
    const qsizetype size = bytes.size();
    text.resize((size + 2) / 3 * 4);
    char16_t *out = reinterpret_cast<char16_t *>(text.data());
    qsizetype i = 0;
    for (; i + 3 <= size; i += 3, out += 4) {
        const uint triple = (uint(in[i]) << 16) | (uint(in[i + 1]) << 8) | in[i + 2];
        std::memcpy(out, kPairs[triple >> 12].data(), 2 * sizeof(char16_t));
        std::memcpy(out + 2, kPairs[triple & 4095].data(), 2 * sizeof(char16_t));
    }
    if (const qsizetype rest = size - i; rest > 0) {
        const uint triple = (uint(in[i]) << 16) | (rest == 2 ? uint(in[i + 1]) << 8 : 0);
        out[0] = char16_t(kAlphabet[triple >> 18]);
        out[1] = char16_t(kAlphabet[(triple >> 12) & 63]);
        out[2] = rest == 2 ? char16_t(kAlphabet[(triple >> 6) & 63]) : u'=';
        out[3] = u'=';
    }
}

bool Base64Text::decode(QStringView text, QByteArray &bytes)
{
    const qsizetype size = text.size();
    const char16_t *in = text.utf16();
    bytes.resize(size * 3 / 4);
    char *out = bytes.data();
    qsizetype written = 0;
    qsizetype i = 0;
    // Whole groups of four from the alphabet, the bulk of any text; the first group with
    // anything else in it, and the rest after it, take the careful way below.
    for (; i + 4 <= size; i += 4) {
        if ((in[i] | in[i + 1] | in[i + 2] | in[i + 3]) >= 128)
            break;
        const uint high = kPairValues[uint(in[i]) << 7 | in[i + 1]];
        const uint low = kPairValues[uint(in[i + 2]) << 7 | in[i + 3]];
        if ((high | low) > 4095)
            break;
        const uint group = high << 12 | low;
        out[written] = char(group >> 16);
        out[written + 1] = char(group >> 8);
        out[written + 2] = char(group);
        written += 3;
    }
    uint bits = 0;
    int count = 0;
    for (; i < size; ++i) {
        const char16_t c = in[i];
        const int value = c < 128 ? kValues[c] : -1;
        if (value < 0) {
            // One or two "=" may end a text whose length is a multiple of four; nothing else
            // outside the alphabet is allowed anywhere.
            if (c != u'=' || size % 4 != 0)
                return false;
            if (i == size - 1 || (i == size - 2 && in[size - 1] == u'='))
                break;
            return false;
        }
        bits = (bits << 6) | uint(value);
        count += 6;
        if (count >= 8) {
            count -= 8;
            out[written++] = char(bits >> count);
            bits &= (1u << count) - 1;
        }
    }
    bytes.resize(written);
    return true;
}
