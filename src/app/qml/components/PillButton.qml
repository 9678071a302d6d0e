import QtQuick
import QtQuick.Controls
import Ondel.App

// The application's button: a capsule, filled with ink when prominent, outlined otherwise.
Button {
    id: control
    property bool prominent: false
    property bool destructive: false // an outlined button whose label is in the accent colour
    property string symbol

    implicitHeight: Math.ceil(contentItem.implicitHeight + 14)
    implicitWidth: Math.ceil(contentItem.implicitWidth + 28)
    leftPadding: 14
    rightPadding: 14
    topPadding: 7
    bottomPadding: 7
    opacity: !enabled ? 0.4 : (down ? 0.75 : 1)
    scale: down ? 0.97 : 1
    Accessible.name: text
    Behavior on opacity { NumberAnimation { duration: 120; easing.type: Easing.OutQuad } }
    Behavior on scale { NumberAnimation { duration: 120; easing.type: Easing.OutQuad } }

    contentItem: Row {
        spacing: 6
        Icon {
            visible: control.symbol.length > 0
            symbol: control.symbol
            size: 13
            color: control.prominent ? Ondel.background : control.destructive ? Ondel.accent : Ondel.ink
            anchors.verticalCenter: parent.verticalCenter
        }
        Text {
            text: control.text
            font: Ondel.font(12.5, Font.Medium)
            color: control.prominent ? Ondel.background : control.destructive ? Ondel.accent : Ondel.ink
            anchors.verticalCenter: parent.verticalCenter
        }
    }
    background: Rectangle {
        radius: height / 2
        color: control.prominent ? Ondel.inkAt(0.82) : (control.hovered ? Ondel.inkAt(0.05) : "transparent")
        border.width: control.prominent ? 0 : 0.5
        border.color: Ondel.inkAt(0.35)
        FocusRing { shown: control.visualFocus; radius: height / 2 }
    }
}
