import QtQuick
import QtQuick.Controls
import Ondel.App

// A theme to pick: a small picture of the window in its scheme ("System" half light, half
// dark), its name under it, and a ring in the accent when it is the current one.
AbstractButton {
    id: tile
    property string value
    property bool selected: false

    implicitWidth: 86
    implicitHeight: picture.height + 8 + name.implicitHeight + 4
    focusPolicy: Qt.StrongFocus
    checkable: false
    Accessible.role: Accessible.RadioButton
    Accessible.name: text
    Accessible.checkable: true
    Accessible.checked: selected

    component MiniWindow: Rectangle {
        property bool dark: false
        readonly property color ink: dark ? "#f2f2f4" : "#1d1d1f"
        function inkAt(a) { return Qt.rgba(ink.r, ink.g, ink.b, a) }
        width: 78
        height: 52
        radius: 6
        color: dark ? "#1c1c1e" : "#fbfaf8"
        Rectangle {
            // The sidebar, with three rows.
            width: 22
            height: parent.height
            radius: parent.radius
            color: parent.dark ? "#242426" : "#f2f1ee"
            Rectangle { anchors.right: parent.right; width: parent.radius; height: parent.height; color: parent.color }
            Column {
                x: 5
                y: 10
                spacing: 5
                Repeater {
                    model: [11, 9, 12]
                    Rectangle { required property int modelData; width: modelData; height: 2.5; radius: 1.25; color: inkAt(0.22) }
                }
            }
        }
        Column {
            x: 29
            y: 9
            spacing: 5
            Rectangle { width: 30; height: 4; radius: 2; color: inkAt(0.6) }
            Repeater {
                model: [40, 36, 42]
                Rectangle { required property int modelData; width: modelData; height: 2.5; radius: 1.25; color: inkAt(0.18) }
            }
        }
        Rectangle {
            // The recording strip's dot.
            x: 29
            y: parent.height - 9
            width: 5
            height: 5
            radius: 2.5
            color: Ondel.accent
        }
    }

    contentItem: Item {}
    background: Item {
        Item {
            id: picture
            anchors.horizontalCenter: parent.horizontalCenter
            y: 2
            width: 78
            height: 52
            MiniWindow { dark: tile.value === "dark" }
            // "System": the right half dark.
            Item {
                visible: tile.value === "system"
                x: parent.width / 2
                width: parent.width / 2
                height: parent.height
                clip: true
                MiniWindow { x: -parent.x; dark: true }
            }
            Rectangle {
                anchors.fill: parent
                radius: 6
                color: "transparent"
                border.width: 0.5
                border.color: Ondel.inkAt(0.2)
            }
            Rectangle {
                anchors.fill: parent
                anchors.margins: -3
                radius: 9
                color: "transparent"
                border.width: 2
                border.color: tile.selected ? Ondel.accent : (tile.hovered ? Ondel.inkAt(0.15) : "transparent")
            }
            FocusRing { anchors.margins: -6; radius: 11; shown: tile.visualFocus }
        }
        Text {
            id: name
            anchors.top: picture.bottom
            anchors.topMargin: 8
            anchors.horizontalCenter: parent.horizontalCenter
            text: tile.text
            font: Ondel.font(12, tile.selected ? Font.DemiBold : Font.Normal)
            color: tile.selected ? Ondel.ink : Ondel.secondaryInk
        }
    }
}
