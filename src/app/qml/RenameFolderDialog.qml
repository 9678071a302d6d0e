import QtQuick
import QtQuick.Controls
import QtQuick.Layouts
import Ondel.App

// "Rename Folder": a name of only white space keeps the old one.
AppDialog {
    id: dialog
    property string folderId
    property FolderListModel folders

    title: "Rename Folder"
    width: 340

    function ask(id, name) {
        folderId = id
        field.text = name
        open()
        field.forceActiveFocus()
        field.selectAll()
    }

    ColumnLayout {
        anchors.fill: parent
        EditorialLabel { text: "Name" }
        TextField {
            id: field
            objectName: "renameField"
            Layout.fillWidth: true
            placeholderText: "Name"
            Accessible.name: "Name"
            onAccepted: dialog.accept()
        }
    }
    footer: DialogButtons {
        PillButton { text: "Cancel"; onClicked: dialog.reject() }
        PillButton { text: "Save"; prominent: true; onClicked: dialog.accept() }
    }
    onAccepted: folders.renameFolder(folderId, field.text)
    onClosed: folderId = ""
}
