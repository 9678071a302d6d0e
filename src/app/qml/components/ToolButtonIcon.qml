import QtQuick
import QtQuick.Controls
import Ondel.App

// A toolbar button: a symbol, its label for screen readers, and a tooltip.
ToolButton {
    id: control
    property string symbol
    property string tip

    implicitWidth: 32
    implicitHeight: 30
    Accessible.name: text
    display: AbstractButton.IconOnly
    ToolTip.visible: hovered && tip.length > 0
    ToolTip.text: tip
    ToolTip.delay: 600
    opacity: enabled ? 1 : 0.35

    contentItem: Item {
        Icon {
            anchors.centerIn: parent
            symbol: control.symbol
            size: 17
            color: Ondel.inkAt(0.78)
        }
    }
    background: Rectangle {
        radius: 6
        color: control.down ? Ondel.inkAt(0.12) : (control.hovered ? Ondel.inkAt(0.06) : "transparent")
        FocusRing { shown: control.visualFocus; radius: 8 }
    }
}
