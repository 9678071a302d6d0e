#include "NamedIconEngine.h"

NamedIconEngine::NamedIconEngine(const QIcon &drawn, const QString &name)
    : m_drawn(drawn)
    , m_name(name)
{
}

void NamedIconEngine::paint(QPainter *painter, const QRect &rect, QIcon::Mode mode, QIcon::State state)
{
    m_drawn.paint(painter, rect, Qt::AlignCenter, mode, state);
}

QSize NamedIconEngine::actualSize(const QSize &size, QIcon::Mode mode, QIcon::State state)
{
    return m_drawn.actualSize(size, mode, state);
}

QPixmap NamedIconEngine::pixmap(const QSize &size, QIcon::Mode mode, QIcon::State state)
{
    return m_drawn.pixmap(size, mode, state);
}

QList<QSize> NamedIconEngine::availableSizes(QIcon::Mode mode, QIcon::State state)
{
    return m_drawn.availableSizes(mode, state);
}
