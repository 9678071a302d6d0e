import QtQuick
import QtQuick.Controls
import QtQuick.Layouts
import Ondel.App

// While an empty store is rebuilt from the archive folder: how far it got. The list fills in
// as the meetings come back, and the window stays usable meanwhile.
ColumnLayout {
    id: indicator
    readonly property ArchiveRecovery recovery: App.recovery

    objectName: "recoveryIndicator"
    visible: recovery.running
    spacing: 6

    RowLayout {
        spacing: 6
        Text {
            id: label
            Layout.fillWidth: true
            text: "Recovering meetings…"
            font: Ondel.font(11.5, Font.Medium)
            color: Ondel.secondaryInk
            elide: Text.ElideRight
        }
        Text {
            id: count
            text: indicator.recovery.filesDone.toLocaleString(Qt.locale(), "f", 0) + " of "
                  + indicator.recovery.fileCount.toLocaleString(Qt.locale(), "f", 0)
            font: Ondel.font(11)
            color: Ondel.tertiaryInk
        }
    }
    ProgressBar {
        id: bar
        Layout.fillWidth: true
        from: 0
        to: Math.max(1, indicator.recovery.fileCount)
        value: indicator.recovery.filesDone
        Accessible.name: "Recovering meetings from OndelNotes, " + count.text
        background: Rectangle {
            implicitHeight: 4
            radius: 2
            color: Ondel.inkAt(0.08)
        }
        contentItem: Item {
            implicitHeight: 4
            Rectangle {
                width: bar.visualPosition * parent.width
                height: parent.height
                radius: 2
                color: Ondel.accent
            }
        }
    }
}
