#pragma once

#include <QObject>
#include <QStringList>
#include <QTextStream>
#include <QUuid>

#include <optional>

class AppServices;
class CalendarCommand;
class NotesCommand;
class OndelStore;
class RecordCommand;
class Settings;

// `ondel-cli`: the headless front end over the same store, settings, secrets and archive as the
// desktop app. Exit status 0 on success, 1 with one line on standard error on failure, 2 on a
// usage error.
class Cli : public QObject
{
    Q_OBJECT

public:
    enum Exit { Success = 0, Failure = 1, Usage = 2, Pending = -1 };

    Cli(AppServices &services, QTextStream &out, QTextStream &err, QObject *parent = nullptr);
    ~Cli() override;

    // Runs the command in `arguments` (without the program name). Commands that go on in the
    // event loop return Pending and end with finished().
    int run(const QStringList &arguments);

    static QString usage();

Q_SIGNALS:
    void finished(int exitCode);

private:
    int meetings(const QStringList &args);
    int show(const QStringList &args);
    int search(const QStringList &args);
    int remove(const QStringList &args);
    int config(const QStringList &args);
    int key(const QStringList &args);
    // The launch repairs and the recovery from the archive, once, before a command that
    // touches meetings.
    void startUp(bool retrySpool);

    // A command that went on in the event loop has ended: the process ends too, once the audio
    // a previous process left in the spool has had its try (after a success only).
    void finish(int exitCode);
    int fail(const QString &message);
    int usageError(const QString &message);
    // A meeting by its id or a unique beginning of it.
    std::optional<QUuid> findMeeting(const QString &idText);

    AppServices &m_services;
    OndelStore &m_store;
    Settings &m_settings;
    bool m_startedUp = false;
    RecordCommand *m_record = nullptr;
    NotesCommand *m_notes = nullptr;
    CalendarCommand *m_calendar = nullptr;
    QTextStream &m_out;
    QTextStream &m_err;
};
