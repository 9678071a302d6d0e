#include "IconProvider.h"

#include <QFile>
#include <QHash>
#include <QPainter>
#include <QSvgRenderer>
#include <QUrlQuery>

namespace {
struct Glyph
{
    const char *file; // the bundled SVG, without ".svg"
    bool filled;      // ".fill" symbols: the outline filled in
};

// Symbol names as the screens use them, mapped to the bundled line icons.
const QHash<QString, Glyph> &glyphs()
{
    static const QHash<QString, Glyph> map{
        {QStringLiteral("house"), {"house", false}},
        {QStringLiteral("square.and.pencil"), {"square-pen", false}},
        {QStringLiteral("gearshape"), {"settings", false}},
        {QStringLiteral("plus"), {"plus", false}},
        {QStringLiteral("folder"), {"folder", false}},
        {QStringLiteral("magnifyingglass"), {"search", false}},
        {QStringLiteral("waveform"), {"audio-waveform", false}},
        {QStringLiteral("record.circle"), {"circle-dot", false}},
        {QStringLiteral("pause.fill"), {"pause", true}},
        {QStringLiteral("play.fill"), {"play", true}},
        {QStringLiteral("stop.fill"), {"square", true}},
        {QStringLiteral("speaker.wave.2"), {"volume-2", false}},
        {QStringLiteral("ellipsis"), {"ellipsis", false}},
        {QStringLiteral("checkmark"), {"check", false}},
        {QStringLiteral("checkmark.circle.fill"), {"circle-check", false}},
        {QStringLiteral("text.alignleft"), {"align-left", false}},
        {QStringLiteral("person"), {"user", false}},
        {QStringLiteral("person.fill"), {"user-round", true}},
        {QStringLiteral("person.crop.circle"), {"circle-user", false}},
        {QStringLiteral("chevron.up.chevron.down"), {"chevrons-up-down", false}},
        {QStringLiteral("arrow.down.circle.fill"), {"circle-arrow-down", false}},
        {QStringLiteral("exclamationmark.circle"), {"circle-alert", false}},
        {QStringLiteral("rectangle.portrait.and.arrow.right"), {"log-out", false}},
        {QStringLiteral("trash"), {"trash-2", false}},
        {QStringLiteral("pencil"), {"pencil", false}},
        {QStringLiteral("xmark"), {"x", false}},
        {QStringLiteral("folder.badge.minus"), {"folder-minus", false}},
        {QStringLiteral("folder.badge.plus"), {"folder-plus", false}},
        {QStringLiteral("tray.full"), {"inbox", false}},
        {QStringLiteral("briefcase"), {"briefcase", false}},
        {QStringLiteral("graduationcap"), {"graduation-cap", false}},
        {QStringLiteral("person.2"), {"users", false}},
        {QStringLiteral("lightbulb"), {"lightbulb", false}},
        {QStringLiteral("star"), {"star", false}},
        {QStringLiteral("tag"), {"tag", false}},
        {QStringLiteral("calendar"), {"calendar", false}},
        {QStringLiteral("mic"), {"mic", false}},
        {QStringLiteral("building.2"), {"building-2", false}},
        {QStringLiteral("airplane"), {"plane", false}},
        {QStringLiteral("sparkles"), {"sparkles", false}},
        {QStringLiteral("arrow.clockwise"), {"refresh-cw", false}},
        {QStringLiteral("square.and.arrow.up"), {"share", false}},
        {QStringLiteral("doc.on.doc"), {"copy", false}},
        {QStringLiteral("bubble.left"), {"message-circle", false}},
        {QStringLiteral("arrow.down"), {"arrow-down", false}},
        {QStringLiteral("arrow.up.circle.fill"), {"circle-arrow-up", false}},
        {QStringLiteral("stop.circle.fill"), {"circle-stop", false}},
        {QStringLiteral("chevron.down"), {"chevron-down", false}},
        {QStringLiteral("line.3.horizontal"), {"grip-horizontal", false}},
        {QStringLiteral("character.bubble"), {"languages", false}},
        {QStringLiteral("text.viewfinder"), {"scan-text", false}},
        {QStringLiteral("waveform.badge.exclamationmark"), {"audio-lines", false}},
        {QStringLiteral("bell"), {"bell", false}},
        {QStringLiteral("power"), {"power", false}},
        {QStringLiteral("person.crop.circle.badge.checkmark"), {"user-round-check", false}},
        {QStringLiteral("circle.lefthalf.filled"), {"contrast", false}},
    };
    return map;
}

QByteArray coloured(const Glyph &glyph, const QColor &color)
{
    QFile file(QStringLiteral(":/qt/qml/Ondel/App/icons/%1.svg").arg(QLatin1String(glyph.file)));
    if (!file.open(QIODevice::ReadOnly))
        return {};
    QByteArray svg = file.readAll();
    const QByteArray name = color.name(QColor::HexRgb).toLatin1();
    svg.replace("currentColor", name);
    if (glyph.filled)
        svg.replace("fill=\"none\"", "fill=\"" + name + "\"");
    if (color.alphaF() < 1.0)
        svg.replace("<svg", "<svg opacity=\"" + QByteArray::number(color.alphaF(), 'f', 3) + "\"");
    return svg;
}
} // namespace

IconProvider::IconProvider()
    : QQuickImageProvider(QQuickImageProvider::Image)
{
}

bool IconProvider::knows(const QString &symbol)
{
    return glyphs().contains(symbol);
}

QImage IconProvider::render(const QString &symbol, const QColor &color, int pixels)
{
    QImage image(pixels, pixels, QImage::Format_ARGB32_Premultiplied);
    image.fill(Qt::transparent);
    const auto it = glyphs().constFind(symbol);
    if (it == glyphs().constEnd())
        return image;
    QSvgRenderer renderer(coloured(*it, color));
    if (!renderer.isValid())
        return image;
    QPainter painter(&image);
    painter.setRenderHint(QPainter::Antialiasing);
    renderer.render(&painter);
    return image;
}

QIcon IconProvider::icon(const QString &symbol, const QColor &color)
{
    QIcon icon;
    for (int px : {16, 22, 24, 32, 48, 64})
        icon.addPixmap(QPixmap::fromImage(render(symbol, color, px)));
    return icon;
}

QImage IconProvider::requestImage(const QString &id, QSize *size, const QSize &requestedSize)
{
    const qsizetype q = id.indexOf(QLatin1Char('?'));
    const QString symbol = q < 0 ? id : id.left(q);
    QColor color(Qt::black);
    if (q >= 0) {
        const QColor asked(QUrlQuery(id.mid(q + 1)).queryItemValue(QStringLiteral("color"), QUrl::FullyDecoded));
        if (asked.isValid())
            color = asked;
    }
    const int side = qBound(8, qMax(requestedSize.width(), requestedSize.height()), 512);
    const QImage image = render(symbol, color, requestedSize.isValid() ? side : 48);
    if (size)
        *size = image.size();
    return image;
}
