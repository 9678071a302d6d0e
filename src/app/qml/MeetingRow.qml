import QtQuick
import QtQuick.Controls
import QtQuick.Layouts
import Ondel.App

// One meeting in the sidebar: the title, then its time and length, and a mark when it has notes.
ItemDelegate {
    id: row
    required property string meetingId
    required property string title
    required property string timeText
    required property string rowDurationText
    required property bool isRecording
    required property bool hasSummary
    required property string folderId
    property bool selected: false
    // `anchor`: where the menu opens, the pointer's place when null.
    signal contextMenuRequested(string meetingId, string folderId, Item anchor)

    width: ListView.view ? ListView.view.width : implicitWidth
    topPadding: 3 + 4
    bottomPadding: 3 + 4
    leftPadding: 12
    rightPadding: 12
    highlighted: selected
    Accessible.name: title
    focusPolicy: Qt.StrongFocus
    objectName: "meetingRow"

    background: Rectangle {
        anchors.fill: parent
        anchors.leftMargin: 6
        anchors.rightMargin: 6
        radius: 6
        color: row.selected ? Ondel.selectionFill : (row.hovered ? Ondel.inkAt(0.04) : "transparent")
        FocusRing { shown: row.visualFocus; radius: 8 }
    }

    contentItem: RowLayout {
        spacing: 7
        RecordingDot {
            visible: row.isRecording
            size: 7
        }
        ColumnLayout {
            Layout.fillWidth: true
            spacing: 1
            Text {
                Layout.fillWidth: true
                text: row.title
                font: Ondel.font(13)
                color: Ondel.ink
                elide: Text.ElideRight
                maximumLineCount: 1
            }
            RowLayout {
                spacing: 4
                Text {
                    text: row.timeText + (row.rowDurationText.length > 0 ? " · " + row.rowDurationText : "")
                    font: Ondel.font(10.5)
                    color: Ondel.secondaryInk
                }
                Icon {
                    visible: row.hasSummary
                    symbol: "text.alignleft"
                    size: 8.5
                    color: Ondel.secondaryInk
                }
            }
        }
    }

    TapHandler {
        acceptedButtons: Qt.RightButton
        onTapped: row.contextMenuRequested(row.meetingId, row.folderId, null)
    }
    // The menu from the keyboard: the Menu key, or Shift+F10.
    Keys.onPressed: event => {
        if (event.key === Qt.Key_Menu || (event.key === Qt.Key_F10 && (event.modifiers & Qt.ShiftModifier))) {
            row.contextMenuRequested(row.meetingId, row.folderId, row)
            event.accepted = true
        }
    }
}
