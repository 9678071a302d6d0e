import QtQuick
import QtQuick.Controls
import Ondel.App

// A quiet button that is only its words, for the lesser actions of a form.
AbstractButton {
    id: control
    property color tint: Ondel.ink

    implicitWidth: label.implicitWidth + 12
    implicitHeight: label.implicitHeight + 8
    opacity: enabled ? (down ? 0.6 : 1) : 0.4
    Accessible.role: Accessible.Button
    Accessible.name: text

    contentItem: Text {
        id: label
        text: control.text
        font: Ondel.font(12, Font.Medium)
        color: control.tint
        horizontalAlignment: Text.AlignHCenter
        verticalAlignment: Text.AlignVCenter
    }
    background: Rectangle {
        radius: 6
        color: control.hovered && control.enabled ? Ondel.inkAt(0.06) : "transparent"
        FocusRing { shown: control.visualFocus; radius: 8 }
    }
}
