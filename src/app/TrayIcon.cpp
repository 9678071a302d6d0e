#include "TrayIcon.h"

#include "AppServices.h"
#include "AppIdentity.h"
#include "AppShell.h"
#include "AppState.h"
#include "IconProvider.h"
#include "MeetingText.h"
#include "NamedIconEngine.h"
#include "OndelStore.h"
#include "SystemColorScheme.h"

#include <QGuiApplication>
#include <QPalette>

TrayIcon::TrayIcon(AppShell &shell, SystemColorScheme *desktop, QObject *parent)
    : QObject(parent)
    , m_shell(shell)
    , m_desktop(desktop)
    , m_elapsed(shell.clock())
{
    m_elapsed.setStyle(ElapsedTicker::Style::Menu);
    m_tray.setToolTip(QStringLiteral("Ondel"));
    m_tray.setContextMenu(&m_menu);
    TranscriptionSession *session = shell.session();
    connect(session, &TranscriptionSession::isRecordingChanged, this, [this] {
        updateIcon();
        rebuild();
    });
    if (desktop)
        connect(desktop, &SystemColorScheme::changed, this, &TrayIcon::updateIcon);
    connect(&shell.services().appState(), &AppState::recentMeetingsChanged, this, &TrayIcon::rebuild);
    connect(&m_menu, &QMenu::aboutToShow, this, &TrayIcon::rebuild);
    connect(&m_elapsed, &ElapsedTicker::secondsChanged, this, [this] {
        if (m_elapsedLine)
            m_elapsedLine->setText(QStringLiteral("Recording \u2014 ") + m_elapsed.text());
    });
    connect(&m_tray, &QSystemTrayIcon::activated, this, [this](QSystemTrayIcon::ActivationReason reason) {
        if (reason == QSystemTrayIcon::Trigger || reason == QSystemTrayIcon::DoubleClick)
            Q_EMIT openWindowRequested();
    });
    updateIcon();
    rebuild();
}

void TrayIcon::show()
{
    m_tray.show();
}

QString TrayIcon::iconSymbol() const
{
    return m_shell.session()->isRecording() ? QStringLiteral("record.circle") : QStringLiteral("waveform");
}

QString TrayIcon::symbolicIconName()
{
    return AppIdentity::bundleIdentifier() + QStringLiteral("-tray-symbolic");
}

void TrayIcon::updateIcon()
{
    // The accent reads on any panel; the idle ink must be the panel's own.
    const bool recording = m_shell.session()->isRecording();
    if (recording) {
        m_tray.setIcon(IconProvider::icon(iconSymbol(), QColor::fromRgbF(0.871f, 0.302f, 0.22f)));
    } else {
        const QColor ink = m_desktop && m_desktop->prefersDark() ? QColor(0xf2, 0xf2, 0xf2)
                                                                 : QGuiApplication::palette().color(QPalette::WindowText);
        const QIcon drawn = IconProvider::icon(iconSymbol(), ink);
        m_tray.setIcon(QIcon::hasThemeIcon(symbolicIconName()) ? QIcon(new NamedIconEngine(drawn, symbolicIconName())) : drawn);
    }
    m_tray.setToolTip(recording ? QStringLiteral("Ondel \u2014 recording") : QStringLiteral("Ondel"));
}

void TrayIcon::rebuild()
{
    m_menu.clear();
    m_elapsedLine = nullptr;
    if (m_shell.session()->isRecording()) {
        m_elapsedLine = m_menu.addAction(QStringLiteral("Recording \u2014 ") + m_elapsed.text());
        m_elapsedLine->setEnabled(false);
        m_menu.addSeparator();
        QAction *stop = m_menu.addAction(QStringLiteral("Stop Recording"), this, &TrayIcon::stopRecording);
        stop->setShortcut(QKeySequence(QStringLiteral("S")));
    } else {
        QAction *start = m_menu.addAction(QStringLiteral("Start Recording"), this, &TrayIcon::startRecording);
        start->setShortcut(QKeySequence(QStringLiteral("R")));
    }
    m_menu.addSeparator();

    const QList<RecentMeetingInfo> &recent = m_shell.services().appState().recentMeetings();
    if (!recent.isEmpty()) {
        m_menu.addSection(QStringLiteral("Recent"));
        const QDateTime now = m_shell.clock().now();
        for (const RecentMeetingInfo &meeting : recent) {
            // Plain rows: they tell, they do not open.
            QAction *row = m_menu.addAction(QStringLiteral("%1  \u00B7  %2").arg(meeting.title, MeetingText::relativeDate(meeting.date, now)));
            row->setEnabled(false);
        }
        m_menu.addSeparator();
    }

    QAction *open = m_menu.addAction(QStringLiteral("Open Ondel"), this, &TrayIcon::openWindowRequested);
    open->setShortcut(QKeySequence(QStringLiteral("O")));
    QAction *settings = m_menu.addAction(QStringLiteral("Settings..."), this, &TrayIcon::settingsRequested);
    settings->setShortcut(QKeySequence(QStringLiteral(",")));
    m_menu.addSeparator();
    QAction *quit = m_menu.addAction(QStringLiteral("Quit Ondel"), &m_shell, &AppShell::quit);
    quit->setShortcut(QKeySequence(QStringLiteral("Q")));
}

void TrayIcon::startRecording()
{
    m_shell.session()->startRecording(&m_shell.store());
    m_elapsed.start();
}

void TrayIcon::stopRecording()
{
    m_shell.session()->stopRecording();
    m_elapsed.stop();
    m_shell.services().appState().refreshRecentMeetings(m_shell.store());
}
