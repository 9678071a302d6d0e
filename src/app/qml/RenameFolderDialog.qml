import QtQuick
import QtQuick.Controls
import QtQuick.Layouts
import Ondel.App

// "Rename Folder": a name of only white space keeps the old one.
Dialog {
    id: dialog
    property string folderId
    property FolderListModel folders

    title: "Rename Folder"
    modal: true
    anchors.centerIn: Overlay.overlay
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
        Label { text: "Name" }
        TextField {
            id: field
            objectName: "renameField"
            Layout.fillWidth: true
            placeholderText: "Name"
            Accessible.name: "Name"
            onAccepted: dialog.accept()
        }
    }
    footer: DialogButtonBox {
        Button { text: "Cancel"; DialogButtonBox.buttonRole: DialogButtonBox.RejectRole }
        Button { text: "Save"; DialogButtonBox.buttonRole: DialogButtonBox.AcceptRole }
    }
    onAccepted: folders.renameFolder(folderId, field.text)
    onClosed: folderId = ""
}
