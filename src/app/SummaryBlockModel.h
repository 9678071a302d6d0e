#pragma once

#include "SummaryBlock.h"

#include <QAbstractListModel>
#include <QColor>
#include <QList>
#include <QtQml/qqmlregistration.h>

// The notes' Markdown as blocks to draw, one row a block. A new text changes only the rows
// that differ from the old ones, so an answer streaming in at its end re-lays out only its
// last rows.
class SummaryBlockModel : public QAbstractListModel
{
    Q_OBJECT
    QML_ELEMENT
    Q_PROPERTY(QString markdown READ markdown WRITE setMarkdown NOTIFY markdownChanged)
    // The primary text colour; the rich text is drawn in it.
    Q_PROPERTY(QColor inkColor READ inkColor WRITE setInkColor NOTIFY inkColorChanged)
    Q_PROPERTY(int count READ rowCount NOTIFY countChanged)

public:
    enum Kind {
        Heading = int(SummaryBlock::Kind::Heading),
        Bullet = int(SummaryBlock::Kind::Bullet),
        Task = int(SummaryBlock::Kind::Task),
        Paragraph = int(SummaryBlock::Kind::Paragraph),
    };
    Q_ENUM(Kind)

    enum Roles {
        KindRole = Qt::UserRole + 1,
        TextRole, // the plain characters; a heading's in upper case
        // HTML for a Text with textFormat Text.RichText: the inline Markdown of a bullet, a
        // paragraph or an open task. Empty for headings and done tasks, which show TextRole.
        RichTextRole,
        DoneRole,
        IsFirstRole,
    };
    Q_ENUM(Roles)

    explicit SummaryBlockModel(QObject *parent = nullptr);

    int rowCount(const QModelIndex &parent = {}) const override;
    QVariant data(const QModelIndex &index, int role) const override;
    QHash<int, QByteArray> roleNames() const override;

    QString markdown() const { return m_markdown; }
    void setMarkdown(const QString &markdown);
    QColor inkColor() const { return m_ink; }
    void setInkColor(const QColor &color);

    // The whole text in the ink at 0.82 opacity, strong runs in the full ink and bold.
    static QString richText(const QString &text, const QColor &ink);

Q_SIGNALS:
    void markdownChanged();
    void inkColorChanged();
    void countChanged();

private:
    struct Row
    {
        SummaryBlock block;
        mutable QString richText; // built on first read
        mutable bool richTextReady = false;
    };

    static bool hasRichText(const SummaryBlock &block);

    QString m_markdown;
    QColor m_ink = Qt::black;
    QList<Row> m_rows;
};
