#include "TimeOrderedIds.h"

#include <QByteArray>
#include <QRandomGenerator>

TimeOrderedIds::TimeOrderedIds(const QDateTime &start)
    : m_startMs(start.toMSecsSinceEpoch())
    , m_random(QRandomGenerator::global()->generate64())
{
}

QUuid TimeOrderedIds::next()
{
    // The 12 bits after the version count ids within one millisecond; past 4096 the clock part
    // moves on by itself, which keeps the order without waiting for real time.
    const quint64 sequence = m_sequence++;
    const quint64 ms = quint64(m_startMs) + (sequence >> 12);
    const quint64 counter = sequence & 0xFFF;
    const quint64 random = m_random.generate64();

    QByteArray bytes(16, Qt::Uninitialized);
    for (int i = 0; i < 6; ++i)
        bytes[i] = char(ms >> (40 - 8 * i));
    bytes[6] = char(0x70 | (counter >> 8)); // version 7
    bytes[7] = char(counter);
    bytes[8] = char(0x80 | ((random >> 56) & 0x3F)); // RFC 4122 variant
    for (int i = 9; i < 16; ++i)
        bytes[i] = char(random >> (8 * (15 - i)));
    return QUuid::fromRfc4122(bytes);
}
