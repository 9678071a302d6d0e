#include "SummaryBlockModel.h"

#include "SummaryMarkdown.h"

SummaryBlockModel::SummaryBlockModel(QObject *parent)
    : QAbstractListModel(parent)
{
}

void SummaryBlockModel::setMarkdown(const QString &markdown)
{
    if (markdown == m_markdown)
        return;
    m_markdown = markdown;
    const QList<SummaryBlock> blocks = SummaryMarkdown::parse(markdown);

    const int oldCount = int(m_rows.size());
    const int newCount = int(blocks.size());
    const int common = std::min(oldCount, newCount);
    int same = 0;
    while (same < common && m_rows.at(same).block == blocks.at(same))
        ++same;
    if (same < common) {
        for (int i = same; i < common; ++i)
            m_rows[i] = Row{blocks.at(i)};
        Q_EMIT dataChanged(index(same), index(common - 1));
    }
    if (newCount > oldCount) {
        beginInsertRows({}, oldCount, newCount - 1);
        for (int i = oldCount; i < newCount; ++i)
            m_rows.append(Row{blocks.at(i)});
        endInsertRows();
        Q_EMIT countChanged();
    } else if (oldCount > newCount) {
        beginRemoveRows({}, newCount, oldCount - 1);
        m_rows.resize(newCount);
        endRemoveRows();
        Q_EMIT countChanged();
    }
    Q_EMIT markdownChanged();
}

void SummaryBlockModel::setInkColor(const QColor &color)
{
    if (color == m_ink)
        return;
    m_ink = color;
    for (const Row &row : std::as_const(m_rows))
        row.richTextReady = false;
    if (!m_rows.isEmpty())
        Q_EMIT dataChanged(index(0), index(int(m_rows.size()) - 1), {RichTextRole});
    Q_EMIT inkColorChanged();
}

bool SummaryBlockModel::hasRichText(const SummaryBlock &block)
{
    return block.kind == SummaryBlock::Kind::Bullet || block.kind == SummaryBlock::Kind::Paragraph
        || (block.kind == SummaryBlock::Kind::Task && !block.done);
}

QString SummaryBlockModel::richText(const QString &text, const QColor &ink)
{
    QColor dim = ink;
    dim.setAlphaF(ink.alphaF() * 0.82f);
    // Qt's rich text reads #AARRGGBB with its alpha.
    const QString full = ink.name(QColor::HexArgb);
    // pre-wrap: the Markdown keeps its blanks, HTML would fold them.
    QString html = QStringLiteral("<span style=\"white-space:pre-wrap;color:%1\">").arg(dim.name(QColor::HexArgb));
    for (const InlineRun &run : SummaryMarkdown::inlineRuns(text)) {
        QString piece = run.text.toHtmlEscaped();
        if (run.code)
            piece = QStringLiteral("<code>%1</code>").arg(piece);
        if (run.emphasis)
            piece = QStringLiteral("<i>%1</i>").arg(piece);
        if (run.strong)
            piece = QStringLiteral("<b style=\"color:%1\">%2</b>").arg(full, piece);
        if (!run.link.isEmpty())
            piece = QStringLiteral("<a href=\"%1\">%2</a>").arg(run.link.toHtmlEscaped(), piece);
        html += piece;
    }
    html += QLatin1String("</span>");
    return html;
}

int SummaryBlockModel::rowCount(const QModelIndex &parent) const
{
    return parent.isValid() ? 0 : int(m_rows.size());
}

QVariant SummaryBlockModel::data(const QModelIndex &index, int role) const
{
    if (!checkIndex(index, CheckIndexOption::IndexIsValid | CheckIndexOption::ParentIsInvalid))
        return {};
    const Row &row = m_rows.at(index.row());
    const SummaryBlock &block = row.block;
    switch (role) {
    case KindRole:
        return int(block.kind);
    case Qt::DisplayRole:
    case TextRole:
        return block.kind == SummaryBlock::Kind::Heading ? block.text.toUpper() : block.text;
    case RichTextRole:
        if (!row.richTextReady) {
            row.richText = hasRichText(block) ? richText(block.text, m_ink) : QString();
            row.richTextReady = true;
        }
        return row.richText;
    case DoneRole:
        return block.done;
    case IsFirstRole:
        return index.row() == 0;
    }
    return {};
}

QHash<int, QByteArray> SummaryBlockModel::roleNames() const
{
    return {{KindRole, "kind"}, {TextRole, "text"}, {RichTextRole, "richText"}, {DoneRole, "done"},
            {IsFirstRole, "isFirst"}};
}
