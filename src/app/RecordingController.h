#pragma once

#include <QObject>
#include <QTimer>
#include <QtQml/qqmlregistration.h>

class AppServices;
class QJSEngine;
class QQmlEngine;

// The recording controls' view of the one session: its state, the two levels, and one action
// per button. The levels are read by a timer here, not signalled per buffer.
class RecordingController : public QObject
{
    Q_OBJECT
    QML_ELEMENT
    QML_SINGLETON
    Q_PROPERTY(bool isRecording READ isRecording NOTIFY stateChanged)
    Q_PROPERTY(bool isPaused READ isPaused NOTIFY stateChanged)
    Q_PROPERTY(QString error READ error NOTIFY stateChanged)
    Q_PROPERTY(bool systemAudioActive READ systemAudioActive NOTIFY stateChanged)
    Q_PROPERTY(bool isGeneratingSummary READ isGeneratingSummary NOTIFY stateChanged)
    Q_PROPERTY(double micLevel READ micLevel NOTIFY levelsChanged)
    Q_PROPERTY(double systemLevel READ systemLevel NOTIFY levelsChanged)

public:
    explicit RecordingController(AppServices &services, QObject *parent = nullptr);

    // The instance QML gets; main makes it before loading the window.
    static void setInstance(RecordingController *controller);
    static RecordingController *create(QQmlEngine *, QJSEngine *);

    bool isRecording() const;
    bool isPaused() const;
    QString error() const;
    bool systemAudioActive() const;
    bool isGeneratingSummary() const;
    double micLevel() const { return m_micLevel; }
    double systemLevel() const { return m_systemLevel; }

    Q_INVOKABLE void start();
    Q_INVOKABLE void stop();
    Q_INVOKABLE void pause();
    Q_INVOKABLE void resume();

Q_SIGNALS:
    void stateChanged();
    void levelsChanged();

private:
    void sampleLevels();

    AppServices &m_services;
    QTimer m_levelTimer;
    double m_micLevel = 0;
    double m_systemLevel = 0;
};
