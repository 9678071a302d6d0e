import QtQuick
import Ondel.App

// A line of notes as styled text: the model has already coloured it (strong runs in full ink),
// so the view only lays it out and lets the text be selected and links be followed.
TextEdit {
    readOnly: true
    selectByMouse: true
    textFormat: TextEdit.RichText
    wrapMode: TextEdit.Wrap
    font: Ondel.body
    color: Ondel.inkAt(0.82)
    selectionColor: Ondel.accentAt(0.3)
    selectedTextColor: Ondel.ink
    onLinkActivated: link => Qt.openUrlExternally(link)
    HoverHandler {
        cursorShape: parent.hoveredLink.length > 0 ? Qt.PointingHandCursor : Qt.IBeamCursor
    }
}
