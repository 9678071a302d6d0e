#pragma once

#include "Clock.h"

#include <QObject>
#include <QtQml/qqmlregistration.h>

// The running time that a recording surface shows: a one-second tick that the surface starts
// and stops itself. The strip's clock stands still while the session is paused and reads
// "h:mm:ss" past an hour; the menu's runs on and reads total minutes ("60:00").
class ElapsedTicker : public QObject
{
    Q_OBJECT
    QML_ELEMENT
    Q_PROPERTY(Style style READ style WRITE setStyle NOTIFY styleChanged)
    Q_PROPERTY(double seconds READ seconds NOTIFY secondsChanged)
    Q_PROPERTY(QString text READ text NOTIFY secondsChanged)
    Q_PROPERTY(bool running READ running NOTIFY runningChanged)
    Q_PROPERTY(bool paused READ paused WRITE setPaused NOTIFY pausedChanged)

public:
    enum class Style { Strip, Menu };
    Q_ENUM(Style)

    explicit ElapsedTicker(QObject *parent = nullptr);
    explicit ElapsedTicker(Clock &clock, QObject *parent = nullptr);
    ~ElapsedTicker() override;

    Style style() const { return m_style; }
    void setStyle(Style style);
    double seconds() const { return m_seconds; }
    QString text() const;
    bool running() const { return m_timer != 0; }
    // The session's pause, which only the strip's clock heeds.
    bool paused() const { return m_paused; }
    void setPaused(bool paused);

    // From zero.
    Q_INVOKABLE void start();
    Q_INVOKABLE void stop();

Q_SIGNALS:
    void styleChanged();
    void secondsChanged();
    void runningChanged();
    void pausedChanged();

private:
    void scheduleTick();

    Clock &m_clock;
    bool m_paused = false;
    Style m_style = Style::Strip;
    double m_seconds = 0;
    Clock::TimerId m_timer = 0;
};
