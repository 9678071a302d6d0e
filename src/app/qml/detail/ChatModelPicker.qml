import QtQuick
import QtQuick.Controls
import Ondel.App

// Which model answers: the gateway's own choice first, then each model by name and character.
// The choice is kept for the next question.
ToolButton {
    id: picker
    objectName: "modelPicker"
    ToolTip.visible: hovered && !menu.visible
    ToolTip.text: "Which model answers"
    ToolTip.delay: 600
    implicitHeight: 30
    leftPadding: 8
    rightPadding: 6
    readonly property alias menu: menu
    onClicked: menu.open()

    ChatModelMenu { id: entries }

    contentItem: Row {
        spacing: 4
        Text {
            objectName: "chosenModel"
            text: entries.chosenName
            font: Ondel.font(12, Font.Medium)
            color: Ondel.secondaryInk
            anchors.verticalCenter: parent.verticalCenter
        }
        Icon { symbol: "chevron.down"; size: 11; color: Ondel.secondaryInk; anchors.verticalCenter: parent.verticalCenter }
    }
    background: Rectangle {
        radius: 6
        color: picker.down || menu.visible ? Ondel.inkAt(0.1) : (picker.hovered ? Ondel.inkAt(0.05) : "transparent")
        FocusRing { shown: picker.visualFocus; radius: 8 }
    }

    Menu {
        id: menu
        objectName: "modelMenu"
        y: -implicitHeight - 4
        width: 260
        Repeater {
            model: entries
            delegate: MenuItem {
                id: entry
                required property string modelId
                required property string name
                required property string character
                required property bool isDivider
                required property bool isChosen
                enabled: !isDivider
                height: isDivider ? 9 : implicitHeight
                objectName: "model_" + modelId
                onTriggered: entries.choose(modelId)
                contentItem: Item {
                    implicitHeight: entry.isDivider ? 1 : column.implicitHeight
                    implicitWidth: 220
                    Rectangle {
                        visible: entry.isDivider
                        anchors.verticalCenter: parent.verticalCenter
                        width: parent.width; height: 1
                        color: Ondel.hairline
                    }
                    Column {
                        id: column
                        visible: !entry.isDivider
                        x: 20
                        Text { text: entry.name; font: Ondel.font(13, Font.Medium); color: Ondel.ink }
                        Text { text: entry.character; font: Ondel.font(11.5); color: Ondel.secondaryInk }
                    }
                    Icon {
                        objectName: "checkmark"
                        visible: entry.isChosen && !entry.isDivider
                        symbol: "checkmark"
                        size: 13
                        color: Ondel.ink
                        anchors.verticalCenter: parent.verticalCenter
                    }
                }
                background: Rectangle {
                    color: entry.highlighted && !entry.isDivider ? Ondel.inkAt(0.07) : "transparent"
                    radius: 4
                }
            }
        }
    }
}
