#pragma once

#include <QDateTime>
#include <QObject>
#include <QString>

#include <functional>
#include <optional>

// Publishes a meeting's notes at a public link (the account implements it).
class NotesPublisher
{
public:
    struct Notes
    {
        QString title;
        QString summary;
        QDateTime date;
        double duration = 0;
    };
    struct Outcome
    {
        std::optional<QString> url; // absent on failure
        QString error;              // what to tell the user on failure
    };
    using Done = std::function<void(const Outcome &)>;

    virtual ~NotesPublisher() = default;
    // Whether someone is signed in who may publish; without, nothing is sent.
    virtual bool canPublish() const = 0;
    // `done` runs on `context`'s thread, unless `context` is gone by then.
    virtual void publish(const Notes &notes, QObject *context, Done done) = 0;
};
