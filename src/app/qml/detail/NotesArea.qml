import QtQuick
import QtQuick.Controls
import QtQuick.Layouts
import Ondel.App

// The notes of a finished meeting, by the first case that holds: generated notes with the
// user's own beside them, notes being written, a transcript or notes waiting for a summary, or
// nothing at all yet.
ColumnLayout {
    id: area
    required property MeetingDetail detail
    spacing: 0

    function focusNotes() {
        if (detail.notesArea === MeetingDetail.Enhanced)
            detail.detailMode = MeetingDetail.Notes
        editor.forceActiveFocus()
    }

    // Generated notes: two tabs.
    Row {
        objectName: "modeTabs"
        visible: area.detail.notesArea === MeetingDetail.Enhanced
        Layout.bottomMargin: 16
        spacing: 4
        Repeater {
            model: [{ label: "Enhanced", mode: MeetingDetail.Enhanced }, { label: "Notes", mode: MeetingDetail.Notes }]
            delegate: Button {
                id: tab
                required property var modelData
                readonly property bool chosen: area.detail.detailMode === modelData.mode
                objectName: "tab" + modelData.label
                text: modelData.label
                leftPadding: 12
                rightPadding: 12
                topPadding: 5
                bottomPadding: 5
                onClicked: area.detail.detailMode = modelData.mode
                contentItem: Text {
                    text: tab.text
                    font: Ondel.font(12.5, tab.chosen ? Font.DemiBold : Font.Medium)
                    color: tab.chosen ? Ondel.ink : Ondel.secondaryInk
                }
                background: Rectangle {
                    radius: height / 2
                    color: tab.chosen ? Ondel.inkAt(0.08) : (tab.hovered ? Ondel.inkAt(0.04) : "transparent")
                    FocusRing { shown: tab.visualFocus; radius: height / 2 }
                }
            }
        }
    }

    SummaryMarkdown {
        objectName: "summaryBlocks"
        visible: area.detail.notesArea === MeetingDetail.Enhanced && area.detail.detailMode === MeetingDetail.Enhanced
        Layout.fillWidth: true
        markdown: visible ? area.detail.summary : ""
    }

    // Notes being written.
    ColumnLayout {
        objectName: "generating"
        visible: area.detail.notesArea === MeetingDetail.Generating
        Layout.fillWidth: true
        Layout.bottomMargin: 18
        spacing: 4
        RowLayout {
            spacing: 8
            BusyIndicator { Layout.preferredWidth: 18; Layout.preferredHeight: 18; running: parent.visible }
            Text { text: "Writing your notes…"; font: Ondel.font(14, Font.Medium); color: Ondel.ink }
        }
        Text {
            text: "Long meetings can take up to a minute."
            font: Ondel.font(12)
            color: Ondel.secondaryInk
        }
    }

    // Nothing yet.
    ColumnLayout {
        objectName: "emptyNotes"
        visible: area.detail.notesArea === MeetingDetail.Empty
        Layout.fillWidth: true
        Layout.bottomMargin: 14
        spacing: 10
        Icon { symbol: "square.and.pencil"; size: 22; color: Ondel.tertiaryInk }
        Text { text: "Write notes, or press record below"; font: Ondel.font(13.5); color: Ondel.secondaryInk }
    }

    NotesEditor {
        id: editor
        objectName: "notesEditor"
        visible: area.detail.notesArea === MeetingDetail.Unsummarized
                 || area.detail.notesArea === MeetingDetail.Empty
                 || (area.detail.notesArea === MeetingDetail.Enhanced && area.detail.detailMode === MeetingDetail.Notes)
                 || (area.detail.notesArea === MeetingDetail.Generating && area.detail.userNotes.trim().length > 0)
        readOnly: area.detail.notesArea === MeetingDetail.Generating
        Layout.fillWidth: true
        Layout.minimumHeight: 120
        placeholder: "Write your notes…"
        text: area.detail.userNotes
        onEdited: text => area.detail.setUserNotes(text)
    }

    // Waiting for a summary.
    ColumnLayout {
        visible: area.detail.notesArea === MeetingDetail.Unsummarized
        Layout.topMargin: 14
        spacing: 8
        PillButton {
            objectName: "generateButton"
            prominent: true
            symbol: "sparkles"
            text: area.detail.generateLabel
            onClicked: area.detail.regenerate()
        }
        Text {
            objectName: "regenerateError"
            visible: text.length > 0
            Layout.maximumWidth: area.width
            text: area.detail.regenerateError
            font: Ondel.font(12)
            color: Ondel.accent
            wrapMode: Text.Wrap
        }
    }
}
