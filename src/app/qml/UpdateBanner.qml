import QtQuick
import QtQuick.Controls
import QtQuick.Layouts
import Ondel.App

// Shown while a newer version is published; a click opens its download.
ItemDelegate {
    id: banner
    readonly property var checker: App.updates
    visible: !!checker && checker.latestVersion.length > 0 && checker.isUpdateAvailable()
    padding: 10
    focusPolicy: Qt.StrongFocus
    Accessible.name: "Update available"
    background: Rectangle {
        radius: 8
        color: Ondel.accentAt(banner.hovered ? 0.14 : 0.09)
        FocusRing { shown: banner.visualFocus; radius: 10 }
    }
    contentItem: RowLayout {
        spacing: 8
        Icon { symbol: "arrow.down.circle.fill"; size: 15; color: Ondel.accent }
        ColumnLayout {
            spacing: 1
            Layout.fillWidth: true
            Text { text: "Update available"; font: Ondel.font(12, Font.DemiBold); color: Ondel.ink }
            Text {
                Layout.fillWidth: true
                text: banner.checker && banner.checker.latestVersion.length > 0
                      ? "Version " + banner.checker.latestVersion + " — click to download" : "Click to download"
                font: Ondel.font(11)
                color: Ondel.secondaryInk
                elide: Text.ElideRight
            }
        }
    }
    onClicked: checker.openDownload()
}
