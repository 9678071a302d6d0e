#pragma once

#include <QMetaType>
#include <QString>

// A stretch of inline text with one style. A view draws the whole text in the primary colour at
// 0.82 opacity and strong runs at full strength, so bold reads by ink as well as by weight.
struct InlineRun
{
    Q_GADGET
    Q_PROPERTY(QString text MEMBER text)
    Q_PROPERTY(bool strong MEMBER strong)
    Q_PROPERTY(bool emphasis MEMBER emphasis)
    Q_PROPERTY(bool code MEMBER code)
    Q_PROPERTY(QString link MEMBER link)
    Q_PROPERTY(double opacity READ opacity)

public:
    QString text;
    bool strong = false;
    bool emphasis = false;
    bool code = false;
    QString link; // empty: not a link

    double opacity() const { return strong ? 1.0 : 0.82; }
    bool sameStyle(const InlineRun &other) const
    {
        return strong == other.strong && emphasis == other.emphasis && code == other.code && link == other.link;
    }

    bool operator==(const InlineRun &) const = default;
};
