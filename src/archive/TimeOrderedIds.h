#pragma once

#include <QDateTime>
#include <QRandomGenerator64>
#include <QUuid>

// Identifiers in the time-ordered layout of UUID version 7: a millisecond clock, then a counter,
// then random bits. Ids made one after another sort one after another, so a bulk insert appends
// to the store's index on them instead of scattering writes across it, which is most of the cost
// of rebuilding a large store. They are ordinary UUIDs to everything else.
class TimeOrderedIds
{
public:
    explicit TimeOrderedIds(const QDateTime &start);

    QUuid next();

private:
    qint64 m_startMs;
    quint64 m_sequence = 0;
    // Seeded once: uniqueness comes from the clock and the counter, and drawing from the
    // system's generator for every id costs more than the insert it is for.
    QRandomGenerator64 m_random;
};
