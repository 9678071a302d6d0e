#pragma once

#include "ElapsedTicker.h"

#include <QMenu>
#include <QObject>
#include <QSystemTrayIcon>

class AppShell;
class SystemColorScheme;

// The status item: a tray icon whose picture tells recording ("record.circle") from idle
// ("waveform"), and its menu: start or stop with the running time, the recent meetings, the
// way back to the window, the settings, quit. On desktops whose tray sends no clicks, the menu
// is the way in, so "Open Ondel" stands in it. Idle, the icon takes the panel's colour: the
// panel draws the symbolic icon installed with the desktop entry in its own colour, and where
// the tray takes only pictures, the symbol is drawn in the ink of the desktop's scheme.
class TrayIcon : public QObject
{
    Q_OBJECT

public:
    TrayIcon(AppShell &shell, SystemColorScheme *desktop, QObject *parent = nullptr);

    void show();
    QMenu &menu() { return m_menu; }
    QString iconSymbol() const;
    QIcon icon() const { return m_tray.icon(); }
    // The theme's name of the idle icon, installed with the desktop entry.
    static QString symbolicIconName();
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
    SystemColorScheme *m_desktop;
    QSystemTrayIcon m_tray;
    QMenu m_menu;
    ElapsedTicker m_elapsed;
    QAction *m_elapsedLine = nullptr;
};
