import QtQuick
import QtQuick.Layouts
import Ondel.App

// Parts of the recording whose audio waits to be transcribed, and the way to try them again.
Rectangle {
    id: banner
    property string text
    property bool busy: false
    signal transcribeAgain()

    implicitHeight: row.implicitHeight + 16
    radius: 10
    color: Ondel.cardFill
    border.width: 0.5
    border.color: Ondel.cardStroke

    RowLayout {
        id: row
        anchors.fill: parent
        anchors.leftMargin: 12
        anchors.rightMargin: 8
        spacing: 8
        Icon { symbol: "exclamationmark.circle"; size: 14; color: Ondel.accent }
        Text {
            objectName: "spoolText"
            Layout.fillWidth: true
            text: banner.text
            font: Ondel.font(12.5)
            color: Ondel.ink
            elide: Text.ElideRight
        }
        PillButton {
            objectName: "transcribeAgainButton"
            text: "Transcribe again"
            symbol: "arrow.clockwise"
            enabled: !banner.busy
            onClicked: banner.transcribeAgain()
        }
    }
}
