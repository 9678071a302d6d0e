#pragma once

#include <QObject>
#include <QtQml/qqmlregistration.h>

#include <optional>

class Settings;

// The height of a meeting's transcript pane, one for all meetings and kept across launches.
// A drag on the handle moves it between 44 and 560; the recording view's button folds it to
// its header or opens it to a readable height.
class TranscriptPaneHeight : public QObject
{
    Q_OBJECT
    QML_ELEMENT
    Q_PROPERTY(double height READ height NOTIFY heightChanged)
    Q_PROPERTY(bool collapsed READ collapsed NOTIFY heightChanged)
    Q_PROPERTY(QString toggleHelp READ toggleHelp NOTIFY heightChanged)

public:
    static constexpr double minimum = 44;
    static constexpr double maximum = 560;

    explicit TranscriptPaneHeight(QObject *parent = nullptr);
    explicit TranscriptPaneHeight(Settings &settings, QObject *parent = nullptr);

    double height() const;
    // Folded down to about its header: the recording view's button then offers to open it.
    bool collapsed() const { return height() <= 60; }
    QString toggleHelp() const;

    // The handle moved by `translation` since the drag began; up is negative and makes the
    // pane taller.
    Q_INVOKABLE void drag(double translation);
    Q_INVOKABLE void endDrag();
    Q_INVOKABLE void toggle();

Q_SIGNALS:
    void heightChanged();

private:
    Settings &m_settings;
    std::optional<double> m_dragStartHeight;
};
