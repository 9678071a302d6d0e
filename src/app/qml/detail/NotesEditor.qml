import QtQuick
import QtQuick.Controls
import Ondel.App

// Plain multi-line notes on a clear background. The placeholder is drawn over the empty field
// and lets clicks through to it.
TextArea {
    id: editor
    property string placeholder
    signal edited(string text)
    Accessible.name: "Notes"

    font: Ondel.font(14.5)
    color: Ondel.ink
    selectionColor: Ondel.accentAt(0.3)
    selectedTextColor: Ondel.ink
    wrapMode: TextEdit.Wrap
    textFormat: TextEdit.PlainText
    leftPadding: 0
    rightPadding: 0
    topPadding: 4
    bottomPadding: 4
    background: null
    placeholderText: ""
    onTextChanged: if (activeFocus) edited(text)

    Text {
        objectName: "notesPlaceholder"
        visible: editor.length === 0 && editor.preeditText.length === 0
        x: editor.leftPadding
        y: editor.topPadding
        width: editor.width - editor.leftPadding - editor.rightPadding
        text: editor.placeholder
        font: editor.font
        color: Ondel.tertiaryInk
        wrapMode: Text.Wrap
    }
}
