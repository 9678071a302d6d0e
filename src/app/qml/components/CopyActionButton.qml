import QtQuick
import QtQuick.Controls
import Ondel.App

// A button that confirms a copy: after the click its symbol turns into a tick for a moment, in
// the same frame. Compact, it is the symbol alone, with the title as its tip.
Button {
    id: control
    property string title
    // A symbol name, as everywhere in the app (a button's `icon` is Qt's own).
    property string symbol
    property bool isEnabled: true
    property bool compact: false
    readonly property alias copied: confirmation.copied
    signal copy()

    text: title
    enabled: isEnabled
    Accessible.name: title
    onClicked: {
        copy()
        confirmation.confirm()
    }
    CopyConfirmation { id: confirmation }

    leftPadding: compact ? 0 : 14
    rightPadding: compact ? 0 : 14
    topPadding: compact ? 0 : 7
    bottomPadding: compact ? 0 : 7
    implicitWidth: compact ? 32 : Math.ceil(contentItem.implicitWidth + 28)
    implicitHeight: compact ? 30 : Math.ceil(contentItem.implicitHeight + 14)
    opacity: !enabled ? 0.35 : (down ? 0.75 : 1)
    scale: down ? 0.97 : 1
    Behavior on opacity { NumberAnimation { duration: 120; easing.type: Easing.OutQuad } }
    Behavior on scale { NumberAnimation { duration: 120; easing.type: Easing.OutQuad } }
    ToolTip.visible: compact && hovered
    ToolTip.text: title
    ToolTip.delay: 600

    contentItem: Item {
        implicitWidth: row.implicitWidth
        implicitHeight: row.implicitHeight
        Row {
            id: row
            anchors.centerIn: parent
            spacing: 6
            Item {
                readonly property real size: control.compact ? 17 : 13
                width: size
                height: size
                anchors.verticalCenter: parent.verticalCenter
                Icon {
                    anchors.fill: parent
                    size: parent.size
                    symbol: control.symbol
                    color: control.compact ? Ondel.inkAt(0.78) : Ondel.ink
                    opacity: control.copied ? 0 : 1
                    Behavior on opacity { NumberAnimation { duration: 150; easing.type: Easing.OutQuad } }
                }
                Icon {
                    objectName: "copiedTick"
                    anchors.fill: parent
                    size: parent.size
                    symbol: "checkmark"
                    color: control.compact ? Ondel.inkAt(0.78) : Ondel.ink
                    opacity: control.copied ? 1 : 0
                    scale: control.copied ? 1 : 0.6
                    Behavior on opacity { NumberAnimation { duration: 150; easing.type: Easing.OutQuad } }
                    Behavior on scale { NumberAnimation { duration: 150; easing.type: Easing.OutQuad } }
                }
            }
            Text {
                visible: !control.compact
                text: control.title
                font: Ondel.font(12.5, Font.Medium)
                color: Ondel.ink
                anchors.verticalCenter: parent.verticalCenter
            }
        }
    }
    background: Rectangle {
        radius: control.compact ? 6 : height / 2
        color: control.down && control.compact ? Ondel.inkAt(0.12) : (control.hovered ? Ondel.inkAt(0.05) : "transparent")
        border.width: control.compact ? 0 : 0.5
        border.color: Ondel.inkAt(0.35)
        FocusRing { shown: control.visualFocus; radius: parent.radius + 2 }
    }
}
