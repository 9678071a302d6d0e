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
    spacing: 5

    Text {
        id: label
        Layout.fillWidth: true
        text: "Recovering meetings from OndelNotes… " + indicator.recovery.filesDone.toLocaleString(Qt.locale(), "f", 0)
              + " of " + indicator.recovery.fileCount.toLocaleString(Qt.locale(), "f", 0)
        font: Ondel.font(11.5)
        color: Ondel.secondaryInk
        elide: Text.ElideRight
    }
    ProgressBar {
        Layout.fillWidth: true
        from: 0
        to: Math.max(1, indicator.recovery.fileCount)
        value: indicator.recovery.filesDone
        Accessible.name: label.text
    }
}
