import QtQuick
import Ondel.App

// Where the keyboard is: a ring in the accent just outside a control, shown while the control
// has the focus from the keyboard (`visualFocus`), never after a click. It goes inside the
// control's background.
Rectangle {
    property bool shown: false
    anchors.fill: parent
    anchors.margins: -2
    color: "transparent"
    border.width: 2
    border.color: Ondel.accent
    visible: shown
}
