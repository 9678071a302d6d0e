import QtQuick
import Ondel.App

// The rough text of the line being spoken, dimmed, with three dots taking turns.
Row {
    id: draft
    property alias text: body.text
    property int phase: 0
    spacing: 8

    Text {
        id: body
        objectName: "draftText"
        width: Math.min(implicitWidth, 580)
        wrapMode: Text.Wrap
        textFormat: Text.PlainText
        font: Ondel.font(14)
        color: Ondel.secondaryInk
        // Read out as plain text, unlike the finished lines, which are selectable fields.
        Accessible.role: Accessible.StaticText
        Accessible.name: text
    }
    Row {
        spacing: 3
        anchors.bottom: body.bottom
        anchors.bottomMargin: 6
        Repeater {
            model: 3
            Rectangle {
                required property int index
                width: 3.5; height: 3.5; radius: 1.75
                color: Ondel.secondaryInk
                opacity: index === draft.phase ? 1.0 : 0.3
                Behavior on opacity { NumberAnimation { duration: 280; easing.type: Easing.InOutQuad } }
            }
        }
    }
    Timer {
        interval: 380
        repeat: true
        running: draft.visible
        onTriggered: draft.phase = (draft.phase + 1) % 3
    }
}
