#pragma once

#include <QObject>

#include <memory>

class AppShell;
class QQmlApplicationEngine;
class QUrl;

// The desktop application put together: the services, the look, the window, the tray, and
// the order in which they start. main makes one after the application object and the
// identifier, once this process owns the data.
class OndelApp : public QObject
{
    Q_OBJECT

public:
    explicit OndelApp(QObject *parent = nullptr);
    ~OndelApp() override;

    // Logs the launch, shows the window and the tray icon, and, once the window is up, starts
    // the repairs, the account refresh, the recovery and the update check. False when the
    // window could not be made.
    bool start();

    AppShell &shell();
    QQmlApplicationEngine &engine();
    // The main window, brought to the front (a second launch, "Open Ondel").
    void showMainWindow();

private:
    void onWindowAppeared();

    struct Parts;
    std::unique_ptr<Parts> m;
};
