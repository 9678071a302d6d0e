#pragma once

#include <QString>
#include <QStringList>

#include <optional>

class Clock;
class OndelStore;

// Rebuilds the store from the archive folder when the store is empty: after the app's data was
// lost, or on a new machine. Best effort, and silent about each file it cannot read; what comes
// back is what reading a meeting needs (title, date, minutes, summary, transcript), not more.
// Runs on the main thread, where the store lives; `ArchiveRecovery` runs it beside the start-up.
class MeetingImporter
{
public:
    // "OndelNotes" in the home folder for every build, the test build too: a store lost in any
    // build is rebuilt from the user's real archive.
    static QString recoveryFolder();

    // Does nothing unless the store holds no meeting at all. Returns how many came back, once
    // all are in.
    static int runIfNeeded(OndelStore &store, const Clock &clock, const QString &folder = recoveryFolder());

    // Every "*.md" (that exact, lower-case extension) at any depth, hidden ones included, in the
    // file system's own order. Nothing when the folder cannot be read.
    static std::optional<QStringList> markdownFiles(const QString &folder);
};
