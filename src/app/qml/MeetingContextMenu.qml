import QtQuick
import QtQuick.Controls
import Ondel.App

// The menu of a meeting, on a sidebar row and on a card alike. Only a card offers
// "Remove from Folder".
Menu {
    id: menu
    property string meetingId
    property string meetingFolderId
    property bool onCard: false
    property FolderListModel folders
    signal newFolderRequested(string meetingId)
    signal deleteRequested(string meetingId)

    Menu {
        id: addToFolder
        title: "Add to Folder"

        Instantiator {
            model: menu.folders
            delegate: MenuItem {
                required property string folderId
                required property string name
                text: name
                checkable: true
                checked: !!menu && folderId === menu.meetingFolderId
                onTriggered: menu.folders.toggleMeeting(folderId, menu.meetingId)
            }
            onObjectAdded: (index, object) => addToFolder.insertItem(index, object)
            onObjectRemoved: (index, object) => addToFolder.takeItem(index)
        }
        MenuSeparator { visible: menu.folders && menu.folders.count > 0 }
        MenuItem {
            text: "New Folder…"
            onTriggered: menu.newFolderRequested(menu.meetingId)
        }
    }
    MenuItem {
        text: "Remove from Folder"
        visible: menu.onCard && menu.meetingFolderId.length > 0
        height: visible ? implicitHeight : 0
        onTriggered: menu.folders.removeFromFolder(menu.meetingId)
    }
    MenuSeparator {}
    MenuItem {
        text: "Delete"
        onTriggered: menu.deleteRequested(menu.meetingId)
    }
}
