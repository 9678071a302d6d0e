import QtQuick
import QtQuick.Controls
import QtQuick.Layouts
import Ondel.App

// A folder in the sidebar's "Spaces": its icon, its name, and how many meetings it holds.
ItemDelegate {
    id: row
    required property string folderId
    required property string name
    required property string rawName
    required property string iconName
    required property int meetingCount
    property bool selected: false
    signal renameRequested(string folderId, string name)
    signal deleteRequested(string folderId)

    width: ListView.view ? ListView.view.width : parent ? parent.width : implicitWidth
    topPadding: 6
    bottomPadding: 6
    leftPadding: 12
    rightPadding: 14
    Accessible.name: name
    focusPolicy: Qt.StrongFocus
    objectName: "folderRow"

    background: Rectangle {
        anchors.fill: parent
        anchors.leftMargin: 6
        anchors.rightMargin: 6
        radius: 6
        color: row.selected ? Ondel.selectionFill : (row.hovered ? Ondel.inkAt(0.04) : "transparent")
        FocusRing { shown: row.visualFocus; radius: 8 }
    }
    contentItem: RowLayout {
        spacing: 8
        Icon {
            symbol: row.iconName
            size: 15
            color: Ondel.inkAt(0.7)
        }
        Text {
            Layout.fillWidth: true
            text: row.name
            font: Ondel.font(13)
            color: Ondel.ink
            elide: Text.ElideRight
            maximumLineCount: 1
        }
        Text {
            visible: row.meetingCount > 0
            text: row.meetingCount
            font: Ondel.font(11)
            color: Ondel.secondaryInk
        }
    }

    TapHandler {
        acceptedButtons: Qt.RightButton
        onTapped: folderMenu.popup()
    }
    // The menu from the keyboard: the Menu key, or Shift+F10.
    Keys.onPressed: event => {
        if (event.key === Qt.Key_Menu || (event.key === Qt.Key_F10 && (event.modifiers & Qt.ShiftModifier))) {
            folderMenu.popup(row, 12, row.height)
            event.accepted = true
        }
    }

    Menu {
        id: folderMenu
        objectName: "folderMenu"
        MenuItem {
            text: "Rename…"
            onTriggered: row.renameRequested(row.folderId, row.rawName)
        }
        MenuItem {
            text: "Delete Folder"
            onTriggered: row.deleteRequested(row.folderId)
        }
    }
}
