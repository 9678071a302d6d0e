import QtQuick
import QtQuick.Controls
import QtQuick.Layouts
import Ondel.App

// The home page ("Your meetings"), or one folder's page with its header and count.
Item {
    id: home
    required property MainContent content
    required property FolderListModel folders
    property string folderId: ""
    signal newFolderRequested(string meetingId)

    MeetingListModel {
        id: meetingModel
        folderId: home.folderId
    }
    MeetingContextMenu {
        id: cardMenu
        onCard: true
        folders: home.folders
        onNewFolderRequested: meetingId => home.newFolderRequested(meetingId)
        onDeleteRequested: meetingId => home.content.deleteMeeting(meetingId)
    }

    ListView {
        id: list
        objectName: "cardList"
        anchors.fill: parent
        anchors.leftMargin: Math.max(28, (width - 760) / 2)
        anchors.rightMargin: anchors.leftMargin
        clip: false
        spacing: 8
        model: meetingModel
        reuseItems: true
        boundsBehavior: Flickable.StopAtBounds
        ScrollBar.vertical: ScrollBar {}

        header: ColumnLayout {
            width: list.width
            spacing: 2
            Item { Layout.preferredHeight: 28 }
            Text {
                visible: home.folderId.length === 0 && meetingModel.count > 0
                text: "Your meetings"
                font: Ondel.font(24, Font.DemiBold)
                color: Ondel.ink
            }
            RowLayout {
                visible: home.folderId.length > 0
                spacing: 10
                Text {
                    objectName: "folderTitle"
                    text: home.folders.nameOf(home.folderId)
                    font: Ondel.font(24, Font.DemiBold)
                    color: Ondel.ink
                }
            }
            Text {
                objectName: "folderCount"
                visible: home.folderId.length > 0
                text: meetingModel.count + " meeting" + (meetingModel.count === 1 ? "" : "s")
                font: Ondel.font(12.5)
                color: Ondel.secondaryInk
            }
            Item { Layout.preferredHeight: 6 }
        }

        section.property: "group"
        section.delegate: EditorialLabel {
            required property string section
            text: section
            topPadding: 16
            bottomPadding: 6
        }

        delegate: MeetingCard {
            width: list.width
            showFolder: home.folderId.length === 0
            onClicked: home.content.openMeeting(meetingId)
            onMenuRequested: (id, folder, anchor) => {
                cardMenu.meetingId = id
                cardMenu.meetingFolderId = folder
                if (anchor)
                    cardMenu.popup(anchor, 0, anchor.height)
                else
                    cardMenu.popup()
            }
        }
        footer: Item { width: 1; height: 28 }
    }

    ColumnLayout {
        objectName: "emptyState"
        visible: meetingModel.count === 0
        anchors.centerIn: parent
        width: Math.min(parent.width - 64, 360)
        spacing: 10
        Icon {
            Layout.alignment: Qt.AlignHCenter
            visible: home.folderId.length === 0
            symbol: "waveform"
            size: 30
            color: Ondel.tertiaryInk
        }
        Text {
            Layout.fillWidth: true
            horizontalAlignment: Text.AlignHCenter
            wrapMode: Text.Wrap
            text: home.folderId.length === 0 ? "Choose a meeting, or press record and just talk."
                                             : "No meetings here yet — file one from its “⋯” menu."
            font: Ondel.font(14)
            color: Ondel.secondaryInk
        }
    }
}
