#include "TestData.h"

#include "FakeClock.h"
#include "OndelStore.h"
#include "Settings.h"
#include "Uuid.h"

#include <QCoreApplication>
#include <QDir>
#include <QImage>
#include <QQuickWindow>

TestData::TestData(OndelStore &store, Settings &settings, FakeClock &clock, QObject *parent)
    : QObject(parent)
    , m_store(store)
    , m_settings(settings)
    , m_clock(clock)
{
}

QString TestData::screenshotDir() const
{
    QString dir = qEnvironmentVariable("ONDEL_SCREENSHOT_DIR");
    if (dir.isEmpty())
        dir = QCoreApplication::applicationDirPath() + QStringLiteral("/screenshots");
    QDir().mkpath(dir);
    return dir;
}

void TestData::clear()
{
    for (const Meeting &m : m_store.meetings())
        m_store.removeMeeting(m.id);
    for (const Folder &f : m_store.folders())
        m_store.removeFolder(f.id);
}

QString TestData::addMeeting(const QString &title, double minutesAgo, double durationSeconds, const QStringList &lines,
                             const QString &summary)
{
    Meeting m(title, m_clock.now().addMSecs(qint64(-minutesAgo * 60000)));
    m.duration = durationSeconds;
    if (!summary.isEmpty())
        m.summary = summary;
    if (!m_store.insert(m))
        return {};
    QList<TranscriptSegment> segments;
    for (qsizetype i = 0; i < lines.size(); ++i) {
        TranscriptSegment s(lines.at(i), i % 2 == 0 ? Speaker::me() : Speaker::them(), 3.0 * double(i));
        s.meetingId = m.id;
        segments.append(s);
    }
    if (!segments.isEmpty())
        m_store.insert(segments);
    return uuidText(m.id);
}

QString TestData::addFolder(const QString &name, const QString &icon)
{
    Folder folder(name, icon, QString());
    return m_store.insert(folder) ? uuidText(folder.id) : QString();
}

void TestData::file(const QString &meetingId, const QString &folderId)
{
    const std::optional<QUuid> meeting = parseUuid(meetingId);
    const std::optional<QUuid> folder = parseUuid(folderId);
    if (meeting)
        m_store.update(*meeting, [&](Meeting &m) { m.folderId = folder; });
}

QString TestData::folderOf(const QString &meetingId) const
{
    const std::optional<QUuid> id = parseUuid(meetingId);
    const std::optional<Meeting> m = id ? m_store.meeting(*id) : std::nullopt;
    return m && m->folderId ? uuidText(*m->folderId) : QString();
}

QStringList TestData::folderNames() const
{
    QStringList names;
    for (const Folder &f : m_store.folders())
        names.append(f.name);
    return names;
}

bool TestData::meetingExists(const QString &meetingId) const
{
    const std::optional<QUuid> id = parseUuid(meetingId);
    return id && m_store.meeting(*id).has_value();
}

void TestData::advance(int milliseconds)
{
    m_clock.advance(std::chrono::milliseconds(milliseconds));
}

void TestData::setTheme(const QString &word)
{
    m_settings.setAppTheme(word);
}

bool TestData::saveScreenshot(QObject *window, const QString &name) const
{
    auto *quickWindow = qobject_cast<QQuickWindow *>(window);
    if (!quickWindow)
        return false;
    const QImage image = quickWindow->grabWindow();
    return !image.isNull() && image.save(screenshotDir() + QLatin1Char('/') + name + QStringLiteral(".png"));
}
