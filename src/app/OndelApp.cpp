#include "OndelApp.h"

#include "AccountService.h"
#include "AppServices.h"
#include "AppShell.h"
#include "ArchiveRecovery.h"
#include "Appearance.h"
#include "CalendarService.h"
#include "IconProvider.h"
#include "LaunchAtLogin.h"
#include "LineSearchIndex.h"
#include "MeetingArchiver.h"
#include "Log.h"
#include "RecordingController.h"
#include "Settings.h"
#include "TrayIcon.h"
#include "UpdateChecker.h"
#include "portal/PortalColorScheme.h"

#include <QApplication>
#include <QQmlApplicationEngine>
#include <QQuickWindow>
#include <QSystemTrayIcon>

struct OndelApp::Parts
{
    AppServices services;
    PortalColorScheme systemScheme;
    Appearance appearance{services.settings(), &systemScheme};
    AppShell shell{services, appearance};
    RecordingController recording{services};
    UpdateChecker updates{services.network(), services.settings()};
    LaunchAtLogin launchAtLogin;
    TrayIcon tray{shell, &systemScheme};
    QQmlApplicationEngine engine;
};

OndelApp::OndelApp(QObject *parent)
    : QObject(parent)
    , m(std::make_unique<Parts>())
{
    RecordingController::setInstance(&m->recording);
    m->shell.setUpdates(&m->updates);
    Settings &settings = m->services.settings();
    connect(&settings, &Settings::launchAtLoginChanged, this,
            [this] { m->launchAtLogin.set(m->services.settings().launchAtLogin()); });
    connect(&m->tray, &TrayIcon::openWindowRequested, this, &OndelApp::showMainWindow);
    connect(&m->tray, &TrayIcon::settingsRequested, &m->shell, &AppShell::openSettings);
    // Ended by the desktop (a logout), the process does not wait for a backfill either.
    connect(qApp, &QCoreApplication::aboutToQuit, this, [this] { m->services.archiver().stop(std::chrono::seconds(2)); });
}

OndelApp::~OndelApp()
{
    RecordingController::setInstance(nullptr);
}

AppShell &OndelApp::shell() { return m->shell; }
QQmlApplicationEngine &OndelApp::engine() { return m->engine; }

bool OndelApp::start()
{
    // The window closed, the app lives on in the tray, and a recording with it.
    QGuiApplication::setQuitOnLastWindowClosed(false);
    qCInfo(lcOndel).noquote() << QStringLiteral("App launched");
    // Here, in this order, once they exist: the notification handler and the meeting reminders.

    m->engine.addImportPath(QStringLiteral(":/qt/qml"));
    m->engine.addImageProvider(QStringLiteral("icon"), new IconProvider);
    m->engine.load(QUrl(QStringLiteral("qrc:/qt/qml/Ondel/App/Main.qml")));
    if (m->engine.rootObjects().isEmpty())
        return false;
    // The first run: the tour in a window of its own, in front of the main one.
    m->shell.showOnboardingIfNeeded();
    m->shell.setHasTray(QSystemTrayIcon::isSystemTrayAvailable());
    if (m->shell.hasTray())
        m->tray.show();
    else
        qCInfo(lcOndel).noquote() << QStringLiteral("No system tray: the window is the way in");
    if (auto *window = qobject_cast<QQuickWindow *>(m->engine.rootObjects().constFirst())) {
        // After the first frame: the user sees the window before any repair runs.
        connect(window, &QQuickWindow::frameSwapped, this, &OndelApp::onWindowAppeared, Qt::SingleShotConnection);
    }
    return true;
}

void OndelApp::onWindowAppeared()
{
    qCInfo(lcOndel).noquote() << QStringLiteral("Main window shown");
    // The repairs of what a previous run left and the recovery of an empty store, then the
    // account and the update check, none waiting for another.
    QMetaObject::invokeMethod(this, [this] {
        // The recovery of an empty store runs beside, batch by batch, with the window usable.
        m->services.startUp(AppServices::Recovery::Beside);
        m->services.account().refresh();
        // The week's calendars, read again whenever the user comes back to the app.
        ondel::CalendarService &calendar = m->services.calendar();
        connect(qApp, &QGuiApplication::applicationStateChanged, &calendar, [&calendar](Qt::ApplicationState state) {
            if (state == Qt::ApplicationActive)
                calendar.becameActive();
        });
        // The lines are read once they are all in: a second connection reading beside the
        // recovery's writes would only hold them up.
        ArchiveRecovery &recovery = m->services.recovery();
        if (recovery.running())
            connect(&recovery, &ArchiveRecovery::finished, this, [this] { LineSearchIndex::of(m->services.store()).preload(); },
                    Qt::SingleShotConnection);
        else
            LineSearchIndex::of(m->services.store()).preload();
        m->updates.check();
    }, Qt::QueuedConnection);
}

void OndelApp::showMainWindow()
{
    m->shell.showMainWindow();
}
