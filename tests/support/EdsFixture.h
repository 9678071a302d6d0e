#pragma once

#include <QByteArray>
#include <QString>
#include <QTemporaryDir>

#include <memory>

class SessionBus;

// Evolution Data Server of the test's own: a private session bus on which the source registry
// and the calendar factory are activated on first use, with HOME and the XDG folders inside the
// fixture's folder (the bus hands its environment to what it starts). Sources are written as the
// registry's key files before it starts; calendars' events as iCalendar files.
class EdsFixture
{
public:
    EdsFixture();
    ~EdsFixture();

    EdsFixture(const EdsFixture &) = delete;
    EdsFixture &operator=(const EdsFixture &) = delete;

    // Why EDS cannot run here (a program is missing); empty when it can.
    QString missing() const { return m_missing; }
    QString error() const { return m_error; }
    QString folder() const { return m_dir.path(); }

    // A source key file ("<uid>.source"), read by the registry when it starts.
    void writeSource(const QString &uid, const QString &keyFile);
    // A calendar source; `extra` holds further groups of its key file.
    void writeCalendar(const QString &uid, const QString &name, const QString &parent, const QString &color,
                       const QString &backend = QStringLiteral("local"), const QString &extra = {});
    // A file in the fixture's folder; returns its path.
    QString writeFile(const QString &name, const QByteArray &content);

    // Starts the bus and points this process at it. Call before anything talks to D-Bus.
    bool start();

private:
    QString writeServiceFile(const QString &name, const QString &program);

    QTemporaryDir m_dir;
    std::unique_ptr<SessionBus> m_bus;
    QString m_registry;
    QString m_factory;
    QString m_missing;
    QString m_error;
};
