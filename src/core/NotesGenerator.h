#pragma once

#include "Meeting.h"
#include "ModelCredentials.h"

#include <QObject>
#include <QString>

#include <functional>
#include <optional>

struct NotesResult
{
    std::optional<QString> title;
    QString notes;
    // Empty on success; else the description of the first failure.
    QString error;
};

// Asks a language model for a meeting's title and notes, side by side.
class NotesGenerator
{
public:
    virtual ~NotesGenerator() = default;
    // `done` runs once, on `context`'s thread.
    virtual void generate(const ModelCredentials &credentials, const Meeting &meeting, const QString &transcript,
                          QObject *context, std::function<void(const NotesResult &)> done) = 0;
};
