#pragma once

#include <QObject>
#include <QVariantList>

class FakeClock;
class OndelStore;
class Settings;

// What the screens' tests set up and look at: meetings and folders in the real store, the
// fake clock, the theme, and where screenshots go.
class TestData : public QObject
{
    Q_OBJECT
    Q_PROPERTY(QString screenshotDir READ screenshotDir CONSTANT)

public:
    TestData(OndelStore &store, Settings &settings, FakeClock &clock, QObject *parent = nullptr);

    QString screenshotDir() const;

    Q_INVOKABLE void clear();
    // `lines` alternate "Me" and "Them", three seconds apart.
    Q_INVOKABLE QString addMeeting(const QString &title, double minutesAgo, double durationSeconds = 0,
                                   const QStringList &lines = {}, const QString &summary = {});
    Q_INVOKABLE QString addFolder(const QString &name, const QString &icon = QStringLiteral("folder"));
    Q_INVOKABLE void file(const QString &meetingId, const QString &folderId);
    Q_INVOKABLE QString folderOf(const QString &meetingId) const;
    Q_INVOKABLE QStringList folderNames() const;
    Q_INVOKABLE bool meetingExists(const QString &meetingId) const;
    Q_INVOKABLE void advance(int milliseconds);
    Q_INVOKABLE void setTheme(const QString &word);
    // The window as drawn, into the screenshot folder; false when it could not be saved.
    Q_INVOKABLE bool saveScreenshot(QObject *window, const QString &name) const;

private:
    OndelStore &m_store;
    Settings &m_settings;
    FakeClock &m_clock;
};
