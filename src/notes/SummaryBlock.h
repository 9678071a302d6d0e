#pragma once

#include <QMetaType>
#include <QString>

// One line of the notes as the notes view draws it. Heading levels are not kept: "#", "##" and
// "###" draw alike.
struct SummaryBlock
{
    Q_GADGET
    Q_PROPERTY(Kind kind MEMBER kind)
    Q_PROPERTY(QString text MEMBER text)
    Q_PROPERTY(bool done MEMBER done)

public:
    enum class Kind { Heading, Bullet, Task, Paragraph };
    Q_ENUM(Kind)

    Kind kind = Kind::Paragraph;
    QString text;
    bool done = false; // tasks only

    bool operator==(const SummaryBlock &) const = default;
};
