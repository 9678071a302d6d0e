#pragma once

#include <QIconEngine>

// A drawn icon that also carries a theme icon's name. A tray that speaks StatusNotifierItem
// sends the name, so the panel draws its own theme's icon in the panel's colour; a tray that
// takes only pictures gets the drawing.
class NamedIconEngine final : public QIconEngine
{
public:
    NamedIconEngine(const QIcon &drawn, const QString &name);

    void paint(QPainter *painter, const QRect &rect, QIcon::Mode mode, QIcon::State state) override;
    QSize actualSize(const QSize &size, QIcon::Mode mode, QIcon::State state) override;
    QPixmap pixmap(const QSize &size, QIcon::Mode mode, QIcon::State state) override;
    QList<QSize> availableSizes(QIcon::Mode mode, QIcon::State state) override;
    QString iconName() override { return m_name; }
    QIconEngine *clone() const override { return new NamedIconEngine(m_drawn, m_name); }

private:
    QIcon m_drawn;
    QString m_name;
};
