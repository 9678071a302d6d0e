import QtQuick
import QtQuick.Controls
import QtQuick.Layouts
import Ondel.App

// The sidebar: Home, the folders, the search, and every meeting under its date heading; the
// update banner and the account at the bottom.
Rectangle {
    id: sidebar
    required property MainContent content
    required property FolderListModel folders
    property alias searchText: searchField.text
    readonly property alias meetings: meetingModel
    signal newFolderRequested(string meetingId)
    signal renameFolderRequested(string folderId, string name)

    color: Ondel.sidebar

    MeetingListModel {
        id: meetingModel
        searchText: searchField.text
    }

    MeetingContextMenu {
        id: rowMenu
        objectName: "rowMenu"
        folders: sidebar.folders
        onNewFolderRequested: meetingId => sidebar.newFolderRequested(meetingId)
        onDeleteRequested: meetingId => sidebar.content.deleteMeeting(meetingId)
    }

    ColumnLayout {
        anchors.fill: parent
        spacing: 0

        TextField {
            id: searchField
            objectName: "searchField"
            Layout.fillWidth: true
            Layout.margins: 10
            Layout.bottomMargin: 6
            placeholderText: "Search meetings"
            Accessible.name: "Search meetings"
            leftPadding: 28
            font: Ondel.font(13)
            Icon {
                anchors.left: parent.left
                anchors.leftMargin: 9
                anchors.verticalCenter: parent.verticalCenter
                symbol: "magnifyingglass"
                size: 13
                color: Ondel.secondaryInk
            }
            Keys.onEscapePressed: text = ""
        }

        ListView {
            id: list
            objectName: "meetingList"
            Layout.fillWidth: true
            Layout.fillHeight: true
            clip: true
            model: meetingModel
            reuseItems: true
            boundsBehavior: Flickable.StopAtBounds
            ScrollBar.vertical: ScrollBar {}
            keyNavigationEnabled: true

            header: Column {
                width: list.width
                ItemDelegate {
                    id: homeRow
                    objectName: "homeRow"
                    width: parent.width
                    focusPolicy: Qt.StrongFocus
                    Accessible.name: "Home"
                    leftPadding: 12
                    topPadding: 6
                    bottomPadding: 6
                    background: Rectangle {
                        anchors.fill: parent
                        anchors.leftMargin: 6
                        anchors.rightMargin: 6
                        radius: 6
                        color: sidebar.content.page === MainContent.Home ? Ondel.selectionFill : (parent.hovered ? Ondel.inkAt(0.04) : "transparent")
                        FocusRing { shown: homeRow.visualFocus; radius: 8 }
                    }
                    contentItem: RowLayout {
                        spacing: 8
                        Icon { symbol: "house"; size: 15; color: Ondel.inkAt(0.7) }
                        Text { text: "Home"; font: Ondel.font(13); color: Ondel.ink; Layout.fillWidth: true }
                    }
                    onClicked: sidebar.content.showHome()
                }
                EditorialLabel {
                    text: "Spaces"
                    leftPadding: 14
                    topPadding: 14
                    bottomPadding: 4
                }
                Repeater {
                    model: sidebar.folders
                    FolderRow {
                        width: list.width
                        selected: sidebar.content.page === MainContent.Folder && sidebar.content.selectedId === folderId
                        onClicked: sidebar.content.openFolder(folderId)
                        onRenameRequested: (id, name) => sidebar.renameFolderRequested(id, name)
                        onDeleteRequested: id => sidebar.content.deleteFolder(id)
                    }
                }
                ItemDelegate {
                    id: newFolderRow
                    objectName: "newFolderButton"
                    width: parent.width
                    focusPolicy: Qt.StrongFocus
                    Accessible.name: "New Folder"
                    leftPadding: 12
                    topPadding: 5
                    bottomPadding: 5
                    background: Item {
                        anchors.fill: parent
                        anchors.leftMargin: 6
                        anchors.rightMargin: 6
                        FocusRing { shown: newFolderRow.visualFocus; radius: 8 }
                    }
                    contentItem: RowLayout {
                        spacing: 8
                        Icon { symbol: "plus"; size: 14; color: Ondel.secondaryInk }
                        Text { text: "New Folder"; font: Ondel.font(12.5); color: Ondel.secondaryInk; Layout.fillWidth: true }
                    }
                    onClicked: sidebar.newFolderRequested("")
                }
                Item { width: 1; height: 8 }
            }

            section.property: "group"
            section.delegate: EditorialLabel {
                required property string section
                text: section
                leftPadding: 14
                topPadding: 12
                bottomPadding: 4
            }

            delegate: MeetingRow {
                selected: sidebar.content.page === MainContent.Meeting && sidebar.content.selectedId === meetingId
                onClicked: sidebar.content.openMeeting(meetingId)
                onContextMenuRequested: (id, folder, anchor) => {
                    rowMenu.meetingId = id
                    rowMenu.meetingFolderId = folder
                    if (anchor)
                        rowMenu.popup(anchor, 12, anchor.height)
                    else
                        rowMenu.popup()
                }
                Keys.onDeletePressed: sidebar.content.deleteMeeting(meetingId)
            }

            Column {
                visible: meetingModel.noSearchResults
                anchors.horizontalCenter: parent.horizontalCenter
                y: list.headerItem ? list.headerItem.height + 24 : 24
                width: list.width - 32
                spacing: 6
                Icon { anchors.horizontalCenter: parent.horizontalCenter; symbol: "magnifyingglass"; size: 22; color: Ondel.tertiaryInk }
                Text {
                    width: parent.width
                    horizontalAlignment: Text.AlignHCenter
                    text: "No Results for \u201C" + searchField.text + "\u201D"
                    font: Ondel.font(13, Font.DemiBold)
                    color: Ondel.secondaryInk
                    wrapMode: Text.Wrap
                }
                Text {
                    width: parent.width
                    horizontalAlignment: Text.AlignHCenter
                    text: "Check the spelling or try a new search."
                    font: Ondel.font(11.5)
                    color: Ondel.tertiaryInk
                    wrapMode: Text.Wrap
                }
            }
        }

        RecoveryIndicator {
            Layout.fillWidth: true
            Layout.margins: 12
            Layout.bottomMargin: 0
        }
        UpdateBanner {
            Layout.fillWidth: true
            Layout.margins: 8
            Layout.bottomMargin: 0
        }
        SidebarAccountFooter {
            Layout.fillWidth: true
            Layout.margins: 8
            content: sidebar.content
        }
    }
}
