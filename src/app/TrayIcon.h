#pragma once

#include "ElapsedTicker.h"

#include <QMenu>
#include <QObject>
#include <QSystemTrayIcon>

class AppShell;

// The status item: a tray icon whose picture tells recording ("record.circle") from idle
// ("waveform"), and its menu: start or stop with the running time, the recent meetings, the
// way back to the window, the settings, quit. On desktops whose tray sends no clicks, the menu
// is the way in, so "Open Ondel" stands in it.
class TrayIcon : public QObject
{
    Q_OBJECT

public:
    explicit TrayIcon(AppShell &shell, QObject *parent = nullptr);

    void show();
    QMenu &menu() { return m_menu; }
    QString iconSymbol() const;
    // The menu as it stands, rebuilt from the state.
    void rebuild();

Q_SIGNALS:
    void openWindowRequested();
    void settingsRequested();

private:
    void startRecording();
    void stopRecording();
    void updateIcon();

    AppShell &m_shell;
    QSystemTrayIcon m_tray;
    QMenu m_menu;
    ElapsedTicker m_elapsed;
    QAction *m_elapsedLine = nullptr;
};
