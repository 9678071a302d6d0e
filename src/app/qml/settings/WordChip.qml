import QtQuick
import QtQuick.Controls
import Ondel.App

// One word of the dictionary, with the button that removes it.
Rectangle {
    id: chip
    property string word
    signal removeRequested()

    implicitWidth: content.implicitWidth + 20
    implicitHeight: 26
    radius: height / 2
    color: Ondel.inkAt(0.06)
    border.width: 0.5
    border.color: Ondel.cardStroke

    Row {
        id: content
        anchors.verticalCenter: parent.verticalCenter
        x: 10
        spacing: 4
        Text {
            anchors.verticalCenter: parent.verticalCenter
            text: chip.word
            font: Ondel.font(12)
            color: Ondel.ink
        }
        AbstractButton {
            id: remove
            objectName: "removeWordButton"
            anchors.verticalCenter: parent.verticalCenter
            implicitWidth: 16
            implicitHeight: 16
            Accessible.name: "Remove " + chip.word
            contentItem: Item {
                Icon {
                    anchors.centerIn: parent
                    symbol: "xmark"
                    size: 10
                    color: parent.parent.hovered ? Ondel.ink : Ondel.secondaryInk
                }
            }
            background: Rectangle {
                radius: 8
                color: parent.hovered ? Ondel.inkAt(0.08) : "transparent"
                FocusRing { shown: remove.visualFocus; radius: 10 }
            }
            onClicked: chip.removeRequested()
        }
    }
}
