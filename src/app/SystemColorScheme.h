#pragma once

#include <QObject>

// Whether the desktop asks applications for a dark look. Each platform answers in its own way.
class SystemColorScheme : public QObject
{
    Q_OBJECT

public:
    using QObject::QObject;

    virtual bool prefersDark() const = 0;

Q_SIGNALS:
    void changed();
};
