#pragma once

#include "Clock.h"

#include <QObject>
#include <QtQml/qqmlregistration.h>

// The tick of a copy button: up at the click, down 1.4 s later, on the app's clock. A click
// while it is up keeps the first one's time, so a double click does not hold it longer.
class CopyConfirmation : public QObject
{
    Q_OBJECT
    QML_ELEMENT
    Q_PROPERTY(bool copied READ copied NOTIFY copiedChanged)

public:
    static constexpr std::chrono::milliseconds shownFor{1400};

    explicit CopyConfirmation(QObject *parent = nullptr);
    explicit CopyConfirmation(Clock &clock, QObject *parent = nullptr);
    ~CopyConfirmation() override;

    bool copied() const { return m_timer != 0; }
    Q_INVOKABLE void confirm();

Q_SIGNALS:
    void copiedChanged();

private:
    Clock &m_clock;
    Clock::TimerId m_timer = 0;
};
