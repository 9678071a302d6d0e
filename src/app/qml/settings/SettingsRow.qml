import QtQuick
import QtQuick.Layouts
import Ondel.App

// One setting: a tile with its symbol, the title with an optional explanation under it, and
// the control at the right.
Item {
    id: settingsRow
    property string symbol
    property string title
    property string subtitle
    default property alias trailing: trailingSlot.data

    Layout.fillWidth: true
    implicitHeight: line.implicitHeight + 24

    RowLayout {
        id: line
        anchors.left: parent.left
        anchors.right: parent.right
        anchors.verticalCenter: parent.verticalCenter
        anchors.leftMargin: 13
        anchors.rightMargin: 13
        spacing: 13

        Rectangle {
            Layout.alignment: settingsRow.subtitle.length > 0 ? Qt.AlignTop : Qt.AlignVCenter
            implicitWidth: 30
            implicitHeight: 30
            radius: 7
            color: Ondel.inkAt(0.05)
            Icon {
                anchors.centerIn: parent
                symbol: settingsRow.symbol
                size: 14
                color: Ondel.inkAt(0.75)
            }
        }
        ColumnLayout {
            Layout.fillWidth: true
            Layout.alignment: settingsRow.subtitle.length > 0 ? Qt.AlignTop : Qt.AlignVCenter
            spacing: 2
            Text {
                Layout.fillWidth: true
                text: settingsRow.title
                font: Ondel.font(13)
                color: Ondel.ink
                wrapMode: Text.Wrap
            }
            Text {
                Layout.fillWidth: true
                visible: settingsRow.subtitle.length > 0
                text: settingsRow.subtitle
                font: Ondel.font(11.5)
                color: Ondel.secondaryInk
                wrapMode: Text.Wrap
                lineHeight: 1.15
            }
        }
        Row {
            id: trailingSlot
            Layout.alignment: Qt.AlignVCenter
            spacing: 8
        }
    }
}
