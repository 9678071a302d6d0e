import QtQuick
import QtQuick.Controls
import QtQuick.Layouts
import Ondel.App

// "Create folder": a name, one of twelve icons, a description. A name of only white space
// creates nothing. A meeting given with the request is filed into the new folder.
Dialog {
    id: sheet
    property string assignMeetingId
    property FolderListModel folders
    property string icon: folders ? folders.iconChoices[0] : "folder"

    title: "Create folder"
    modal: true
    anchors.centerIn: Overlay.overlay
    width: 420

    function ask(meetingId) {
        assignMeetingId = meetingId || ""
        nameField.text = ""
        detailField.text = ""
        icon = folders.iconChoices[0]
        open()
        nameField.forceActiveFocus()
    }
    function create() {
        if (folders.createFolder(nameField.text, icon, detailField.text, assignMeetingId).length > 0)
            close()
    }

    ColumnLayout {
        anchors.fill: parent
        spacing: 8
        EditorialLabel { text: "Title and icon" }
        RowLayout {
            Layout.fillWidth: true
            spacing: 8
            Button {
                id: iconButton
                objectName: "iconPicker"
                implicitWidth: 40
                Accessible.name: "Icon"
                contentItem: Item {
                    Icon { anchors.centerIn: parent; symbol: sheet.icon; size: 16 }
                }
                onClicked: iconMenu.open()
                Menu {
                    id: iconMenu
                    y: iconButton.height
                    Repeater {
                        model: sheet.folders ? sheet.folders.iconChoices : []
                        MenuItem {
                            required property string modelData
                            text: modelData
                            icon.source: "image://icon/" + modelData + "?color=" + encodeURIComponent(String(Ondel.ink))
                            onTriggered: sheet.icon = modelData
                        }
                    }
                }
            }
            TextField {
                id: nameField
                objectName: "folderName"
                Layout.fillWidth: true
                placeholderText: "Folder name"
                onAccepted: sheet.create()
            }
        }
        EditorialLabel { text: "Description"; Layout.topMargin: 6 }
        TextField {
            id: detailField
            objectName: "folderDetail"
            Layout.fillWidth: true
            placeholderText: "Describe the purpose of this folder"
        }
    }
    footer: DialogButtonBox {
        Button {
            text: "Cancel"
            DialogButtonBox.buttonRole: DialogButtonBox.RejectRole
        }
        Button {
            objectName: "createFolder"
            text: "Create"
            highlighted: true
            // Stays up with an empty name: the sheet closes itself once a folder exists.
            onClicked: sheet.create()
        }
    }
}
