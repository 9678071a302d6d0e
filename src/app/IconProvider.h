#pragma once

#include <QColor>
#include <QIcon>
#include <QImage>
#include <QQuickImageProvider>

// The shell's line icons, asked for by the symbol names the screens use ("house",
// "gearshape", "pause.fill", ...) and drawn from the bundled SVGs in any colour:
// "image://icon/<name>?color=<#rrggbb or #aarrggbb>".
class IconProvider : public QQuickImageProvider
{
public:
    IconProvider();

    QImage requestImage(const QString &id, QSize *size, const QSize &requestedSize) override;

    // An icon drawn at `pixels` square; a blank image for an unknown name.
    static QImage render(const QString &symbol, const QColor &color, int pixels);
    // For the tray: the symbol in the given colour at the usual tray sizes.
    static QIcon icon(const QString &symbol, const QColor &color);
    static bool knows(const QString &symbol);
};
