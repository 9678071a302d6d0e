import QtQuick
import QtQuick.Controls
import QtQuick.Layouts
import Ondel.App

// A recorded meeting on the home page: the whole card opens it; "⋯" holds its menu.
ItemDelegate {
    id: card
    required property string meetingId
    required property string title
    required property string dateText
    required property string cardDurationText
    required property bool hasSummary
    required property bool isRecording
    required property string folderId
    required property string folderName
    property bool showFolder: true
    signal menuRequested(string meetingId, string folderId, Item anchor)

    padding: 14
    Accessible.name: title
    focusPolicy: Qt.StrongFocus
    objectName: "meetingCard"
    background: Rectangle {
        radius: 10
        color: card.hovered ? Ondel.inkAt(0.065) : Ondel.cardFill
        border.width: 0.5
        border.color: Ondel.cardStroke
        FocusRing { shown: card.visualFocus; radius: 12 }
    }
    contentItem: RowLayout {
        spacing: 10
        ColumnLayout {
            Layout.fillWidth: true
            spacing: 4
            RowLayout {
                spacing: 7
                Layout.fillWidth: true
                RecordingDot { visible: card.isRecording; size: 7 }
                Text {
                    Layout.fillWidth: true
                    text: card.title
                    font: Ondel.font(14.5, Font.DemiBold)
                    color: Ondel.ink
                    elide: Text.ElideRight
                }
            }
            RowLayout {
                spacing: 5
                Text {
                    text: card.dateText + (card.cardDurationText.length > 0 ? "  ·  " + card.cardDurationText : "")
                    font: Ondel.font(11.5)
                    color: Ondel.secondaryInk
                }
                Text { visible: card.hasSummary; text: "·"; font: Ondel.font(11.5); color: Ondel.secondaryInk }
                Icon { visible: card.hasSummary; symbol: "text.alignleft"; size: 10; color: Ondel.secondaryInk }
                Text {
                    visible: card.showFolder && card.folderName.length > 0
                    text: "·"
                    font: Ondel.font(11.5)
                    color: Ondel.secondaryInk
                }
                Icon {
                    visible: card.showFolder && card.folderName.length > 0
                    symbol: "folder"
                    size: 10
                    color: Ondel.secondaryInk
                }
                Text {
                    visible: card.showFolder && card.folderName.length > 0
                    text: card.folderName
                    font: Ondel.font(11.5)
                    color: Ondel.secondaryInk
                }
            }
        }
        ToolButtonIcon {
            id: more
            text: "Actions"
            symbol: "ellipsis"
            onClicked: card.menuRequested(card.meetingId, card.folderId, more)
        }
    }
    TapHandler {
        acceptedButtons: Qt.RightButton
        onTapped: card.menuRequested(card.meetingId, card.folderId, null)
    }
    // The menu from the keyboard: the Menu key, or Shift+F10.
    Keys.onPressed: event => {
        if (event.key === Qt.Key_Menu || (event.key === Qt.Key_F10 && (event.modifiers & Qt.ShiftModifier))) {
            card.menuRequested(card.meetingId, card.folderId, more)
            event.accepted = true
        }
    }
}
