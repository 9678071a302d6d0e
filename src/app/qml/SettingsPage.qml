import QtQuick
import QtQuick.Controls
import QtQuick.Layouts
import Ondel.App

// The settings that the shell itself owns: the look, the sounds, starting with the desktop.
Flickable {
    id: page
    contentHeight: column.implicitHeight + 56
    boundsBehavior: Flickable.StopAtBounds
    ScrollBar.vertical: ScrollBar {}

    ColumnLayout {
        id: column
        x: Math.max(28, (page.width - 640) / 2)
        y: 28
        width: Math.min(640, page.width - 56)
        spacing: 10

        Text { text: "Settings"; font: Ondel.font(24, Font.DemiBold); color: Ondel.ink }
        EditorialLabel { text: "General"; topPadding: 12 }
        Rectangle {
            Layout.fillWidth: true
            implicitHeight: rows.implicitHeight
            radius: 10
            color: Ondel.cardFill
            border.width: 0.5
            border.color: Ondel.cardStroke
            ColumnLayout {
                id: rows
                width: parent.width
                spacing: 0
                RowLayout {
                    Layout.margins: 12
                    spacing: 12
                    Text { text: "Appearance"; font: Ondel.font(13); color: Ondel.ink; Layout.fillWidth: true }
                    ComboBox {
                        objectName: "themePicker"
                        model: ["System", "Light", "Dark"]
                        readonly property var words: ["system", "light", "dark"]
                        currentIndex: Math.max(0, words.indexOf(App.settings.appTheme))
                        onActivated: index => App.settings.appTheme = words[index]
                    }
                }
                Rectangle { Layout.fillWidth: true; Layout.leftMargin: 12; height: 0.5; color: Ondel.hairline }
                RowLayout {
                    Layout.margins: 12
                    Text { text: "Play sounds when recording starts and stops"; font: Ondel.font(13); color: Ondel.ink; Layout.fillWidth: true }
                    Switch {
                        checked: App.settings.soundEnabled
                        onToggled: App.settings.soundEnabled = checked
                    }
                }
                Rectangle { Layout.fillWidth: true; Layout.leftMargin: 12; height: 0.5; color: Ondel.hairline }
                RowLayout {
                    Layout.margins: 12
                    Text { text: "Open Ondel when you log in"; font: Ondel.font(13); color: Ondel.ink; Layout.fillWidth: true }
                    Switch {
                        checked: App.settings.launchAtLogin
                        onToggled: App.setLaunchAtLogin(checked)
                    }
                }
            }
        }
    }
}
