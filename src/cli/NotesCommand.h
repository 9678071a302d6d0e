#pragma once

#include <QObject>
#include <QStringList>
#include <QTextStream>
#include <QUuid>

#include <functional>
#include <optional>

class AppServices;
class MeetingChatService;
class NotesRegenerator;

// The commands that ask a language model about a stored meeting: `notes ID` writes (again) its
// title and notes, as the meeting screen's regenerate does; `ask ID QUESTION` streams an answer
// to standard output and keeps both turns, as the chat panel does.
class NotesCommand : public QObject
{
    Q_OBJECT

public:
    using MeetingLookup = std::function<std::optional<QUuid>(const QString &)>;

    NotesCommand(AppServices &services, MeetingLookup lookup, QTextStream &out, QTextStream &err, QObject *parent = nullptr);
    ~NotesCommand() override;

    int notes(const QStringList &args);
    int ask(const QStringList &args);

Q_SIGNALS:
    void finished(int exitCode);

private:
    AppServices &m_services;
    MeetingLookup m_lookup;
    QTextStream &m_out;
    QTextStream &m_err;
    NotesRegenerator *m_regenerator = nullptr;
    MeetingChatService *m_chat = nullptr;
};
