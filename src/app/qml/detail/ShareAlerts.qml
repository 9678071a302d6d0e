import QtQuick
import QtQuick.Controls
import Ondel.App

// The two answers of sharing: the link is on the clipboard, or it could not be made.
Item {
    id: alerts
    required property NotesSharing sharing
    readonly property alias confirm: confirm
    readonly property alias failure: failure

    Dialog {
        id: confirm
        objectName: "shareConfirm"
        parent: Overlay.overlay
        anchors.centerIn: parent
        width: 420
        modal: true
        visible: alerts.sharing.showShareConfirm
        title: "Link copied"
        closePolicy: Popup.CloseOnEscape
        readonly property alias message: confirmText.text
        Label {
            id: confirmText
            width: parent.width
            text: "Anyone with this link can read this summary.\n\n" + alerts.sharing.shareURL
            wrapMode: Text.Wrap
        }
        footer: DialogButtonBox {
            Button { text: "Done"; DialogButtonBox.buttonRole: DialogButtonBox.RejectRole }
            Button {
                objectName: "openShareLink"
                text: "Open in browser"
                highlighted: true
                DialogButtonBox.buttonRole: DialogButtonBox.AcceptRole
            }
        }
        onAccepted: alerts.sharing.openLink()
        onClosed: alerts.sharing.dismissConfirm()
    }
    Dialog {
        id: failure
        objectName: "shareError"
        parent: Overlay.overlay
        anchors.centerIn: parent
        width: 400
        modal: true
        visible: alerts.sharing.showShareError
        title: "Couldn't share"
        closePolicy: Popup.CloseOnEscape
        readonly property alias message: failureText.text
        Label {
            id: failureText
            width: parent.width
            text: alerts.sharing.shareError
            wrapMode: Text.Wrap
        }
        footer: DialogButtonBox {
            Button { text: "OK"; DialogButtonBox.buttonRole: DialogButtonBox.RejectRole }
        }
        onClosed: alerts.sharing.dismissError()
    }
}
