#pragma once

// A real store, a real archiver on a real folder, and the app state with its session, wired as
// the front ends wire them.

#include "AppState.h"
#include "ArchiveIndex.h"
#include "DualStreamMixer.h"
#include "FakeClock.h"
#include "MeetingArchiver.h"
#include "OndelStore.h"
#include "SessionDoubles.h"
#include "Settings.h"
#include "TestEnvironment.h"
#include "UtteranceSpool.h"
#include "Uuid.h"

#include <QDir>
#include <QTemporaryDir>
#include <QTest>

inline const QDateTime kMonday(QDate(2026, 1, 5), QTime(9, 30, 12), Qt::UTC);
inline const QString kId = QStringLiteral("6F0E2C1A-9B1D-4E6A-8C3B-2D7A4F1E9C55");

// A meeting's Markdown file: the front matter between its fences, then the body.
inline QString file(const QString &frontMatter, const QString &body = {})
{
    return QStringLiteral("---\n") + frontMatter + QStringLiteral("\n---\n") + body;
}

struct ArchiveRig
{
    QTemporaryDir dir;
    std::unique_ptr<OndelStore> store = OndelStore::open(dir.filePath(QStringLiteral("Ondel.store")));
    FakeClock clock;
    Settings settings{dir.filePath(QStringLiteral("settings.json"))};
    SampleRecorder mic, system;
    DualStreamMixer mixer{&mic, &system};
    FakeMicrophonePermission permission;
    FakeCredentials credentials;
    QList<std::shared_ptr<FakeTranscriber>> transcribers;
    std::unique_ptr<MeetingArchiver> archiver;
    UtteranceSpool spool{dir.filePath(QStringLiteral("Spool"))};
    std::unique_ptr<AppState> state;

    // The default root is shared by the cases of a test process: each starts without it.
    explicit ArchiveRig(const QString &root = MeetingArchiver::archiveRoot())
        : archiver(std::make_unique<MeetingArchiver>(*store, clock, root, QTimeZone::utc()))
    {
        if (root == MeetingArchiver::archiveRoot())
            QDir(root).removeRecursively();
        state = std::make_unique<AppState>(SessionDependencies{
            .mixer = &mixer, .settings = &settings, .clock = &clock, .microphone = &permission, .credentials = &credentials,
            .makeTranscriber = [this](const TranscriberConfig &c) { return transcribers.emplaceBack(std::make_shared<FakeTranscriber>(c)); },
            .archive = archiver.get(), .spool = &spool});
    }
    QUuid add(const QString &title, const QDateTime &date = kMonday, int lines = 0)
    {
        Meeting m(title, date);
        m.duration = 150;
        store->insert(m);
        for (int i = 0; i < lines; ++i) {
            TranscriptSegment s(QStringLiteral("line %1").arg(i), i % 2 ? Speaker::them() : Speaker::me(), 10.0 - i);
            s.meetingId = m.id;
            store->insert(s);
        }
        return m.id;
    }
    // Written, or entered, and waited for.
    void archiveNow(const QUuid &id) { archiver->archive(id); archiver->waitForIdle(); }
    void backfillNow(const QList<QUuid> &ids) { archiver->backfill(ids); archiver->waitForIdle(); }
    QString path(const QString &relative) const { return archiver->root() + QLatin1Char('/') + relative; }
    ArchiveIndex index() const { return ArchiveIndex::read(path(QStringLiteral("index.json"))); }
    QString entryPath(const QUuid &id) const { return index().entry(uuidText(id)).value_or(ArchiveIndex::Entry{}).path; }
    // What the year folders hold.
    QStringList files() const
    {
        QStringList all;
        for (const QString &year : QDir(archiver->root()).entryList({QStringLiteral("2*")}, QDir::Dirs))
            for (const QString &f : QDir(path(year)).entryList(QDir::Files | QDir::Hidden))
                all << year + QLatin1Char('/') + f;
        return all;
    }
};
