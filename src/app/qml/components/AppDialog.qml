import QtQuick
import QtQuick.Controls
import Ondel.App

// The application's dialog: a raised card over a dimmed window, its title in the app's type,
// its buttons (PillButtons, the default one prominent) at the bottom right.
Dialog {
    id: dialog
    modal: true
    anchors.centerIn: Overlay.overlay
    padding: 20
    topPadding: 8
    Accessible.name: title

    enter: Transition {
        NumberAnimation { property: "opacity"; from: 0; to: 1; duration: 140; easing.type: Easing.OutQuad }
        NumberAnimation { property: "scale"; from: 0.97; to: 1; duration: 140; easing.type: Easing.OutQuad }
    }
    exit: Transition {
        NumberAnimation { property: "opacity"; from: 1; to: 0; duration: 100; easing.type: Easing.InQuad }
    }

    background: Rectangle {
        radius: 12
        color: Ondel.raised
        border.width: 1
        border.color: Ondel.hairline
    }
    header: Text {
        visible: dialog.title.length > 0
        text: dialog.title
        font: Ondel.font(15, Font.DemiBold)
        color: Ondel.ink
        elide: Text.ElideRight
        leftPadding: 20
        rightPadding: 20
        topPadding: 18
        bottomPadding: 4
    }
    Overlay.modal: Rectangle {
        color: Ondel.dark ? Qt.rgba(0, 0, 0, 0.45) : Qt.rgba(0, 0, 0, 0.22)
        Behavior on opacity { NumberAnimation { duration: 140 } }
    }
}
