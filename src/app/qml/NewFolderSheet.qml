import QtQuick
import QtQuick.Controls
import QtQuick.Layouts
import Ondel.App

// "Create folder": a name, one of twelve icons, a description. A name of only white space
// creates nothing. A meeting given with the request is filed into the new folder.
AppDialog {
    id: sheet
    property string assignMeetingId
    property FolderListModel folders
    property string icon: folders ? folders.iconChoices[0] : "folder"

    title: "Create folder"
    width: 420

    function ask(meetingId) {
        assignMeetingId = meetingId || ""
        nameField.text = ""
        detailField.text = ""
        icon = folders.iconChoices[0]
        open()
        nameField.forceActiveFocus()
    }
    function iconLabel(symbol) {
        return folders ? folders.iconLabels[folders.iconChoices.indexOf(symbol)] || "" : ""
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
                Accessible.name: "Icon: " + sheet.iconLabel(sheet.icon)
                contentItem: Item {
                    Icon { anchors.centerIn: parent; symbol: sheet.icon; size: 16 }
                }
                onClicked: iconMenu.open()
                // The twelve icons as icons, in a grid; each has its name for screen readers.
                Popup {
                    id: iconMenu
                    objectName: "iconMenu"
                    y: iconButton.height + 4
                    padding: 6
                    focus: true
                    background: Rectangle {
                        radius: 8
                        color: Ondel.raised
                        border.width: 0.5
                        border.color: Ondel.inkAt(0.2)
                    }
                    contentItem: Grid {
                        columns: 6
                        spacing: 4
                        Repeater {
                            model: sheet.folders ? sheet.folders.iconChoices : []
                            AbstractButton {
                                id: choice
                                required property string modelData
                                required property int index
                                objectName: "iconChoice_" + modelData
                                implicitWidth: 32
                                implicitHeight: 32
                                focusPolicy: Qt.StrongFocus
                                focus: modelData === sheet.icon
                                Accessible.role: Accessible.Button
                                Accessible.name: sheet.iconLabel(modelData)
                                ToolTip.visible: hovered
                                ToolTip.text: Accessible.name
                                ToolTip.delay: 600
                                contentItem: Item {
                                    Icon { anchors.centerIn: parent; symbol: choice.modelData; size: 16 }
                                }
                                background: Rectangle {
                                    radius: 6
                                    color: choice.modelData === sheet.icon ? Ondel.selectionFill
                                                                           : (choice.hovered ? Ondel.inkAt(0.05) : "transparent")
                                    FocusRing { shown: choice.visualFocus; radius: 8 }
                                }
                                onClicked: {
                                    sheet.icon = modelData
                                    iconMenu.close()
                                }
                            }
                        }
                    }
                }
            }
            TextField {
                id: nameField
                objectName: "folderName"
                Layout.fillWidth: true
                placeholderText: "Folder name"
                Accessible.name: "Folder name"
                onAccepted: sheet.create()
            }
        }
        EditorialLabel { text: "Description"; Layout.topMargin: 6 }
        TextField {
            id: detailField
            objectName: "folderDetail"
            Layout.fillWidth: true
            placeholderText: "Describe the purpose of this folder"
            Accessible.name: "Description"
        }
    }
    footer: DialogButtons {
        PillButton {
            text: "Cancel"
            onClicked: sheet.reject()
        }
        PillButton {
            objectName: "createFolder"
            text: "Create"
            prominent: true
            // Stays up with an empty name: the sheet closes itself once a folder exists.
            onClicked: sheet.create()
        }
    }
}
