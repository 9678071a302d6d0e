import QtQuick
import QtQuick.Controls
import Ondel.App

// The two answers of sharing: the link is on the clipboard, or it could not be made.
Item {
    id: alerts
    required property NotesSharing sharing
    readonly property alias confirm: confirm
    readonly property alias failure: failure

    AppDialog {
        id: confirm
        objectName: "shareConfirm"
        parent: Overlay.overlay
        anchors.centerIn: parent
        width: 420
        visible: alerts.sharing.showShareConfirm
        title: "Link copied"
        closePolicy: Popup.CloseOnEscape
        readonly property alias message: confirmText.text
        Label {
            id: confirmText
            width: parent.width
            text: "Anyone with this link can read this summary.\n\n" + alerts.sharing.shareURL
            wrapMode: Text.Wrap
            font: Ondel.font(13)
            color: Ondel.secondaryInk
        }
        footer: DialogButtons {
            PillButton { text: "Done"; onClicked: confirm.reject() }
            PillButton {
                objectName: "openShareLink"
                text: "Open in browser"
                prominent: true
                onClicked: confirm.accept()
            }
        }
        onAccepted: alerts.sharing.openLink()
        onClosed: alerts.sharing.dismissConfirm()
    }
    AppDialog {
        id: failure
        objectName: "shareError"
        parent: Overlay.overlay
        anchors.centerIn: parent
        width: 400
        visible: alerts.sharing.showShareError
        title: "Couldn't share"
        closePolicy: Popup.CloseOnEscape
        readonly property alias message: failureText.text
        Label {
            id: failureText
            width: parent.width
            text: alerts.sharing.shareError
            wrapMode: Text.Wrap
            font: Ondel.font(13)
            color: Ondel.secondaryInk
        }
        footer: DialogButtons {
            PillButton { text: "OK"; prominent: true; onClicked: failure.reject() }
        }
        onClosed: alerts.sharing.dismissError()
    }
}
