import QtQuick
import QtQuick.Controls
import Ondel.App

// The switch of a settings row: a capsule that fills with the accent when on.
Switch {
    id: control
    padding: 0
    implicitWidth: indicator.implicitWidth
    implicitHeight: indicator.implicitHeight
    Accessible.name: text

    indicator: Rectangle {
        implicitWidth: 36
        implicitHeight: 20
        radius: height / 2
        color: control.checked ? Ondel.accent : Ondel.inkAt(0.16)
        opacity: control.enabled ? 1 : 0.4
        Behavior on color { ColorAnimation { duration: 120 } }
        FocusRing { shown: control.visualFocus; radius: height / 2 }
        Rectangle {
            width: 16
            height: 16
            radius: 8
            y: 2
            x: control.checked ? parent.width - width - 2 : 2
            color: "white"
            border.width: 0.5
            border.color: Qt.rgba(0, 0, 0, 0.12)
            Behavior on x { NumberAnimation { duration: 120; easing.type: Easing.OutQuad } }
        }
    }
    contentItem: Item {}
}
