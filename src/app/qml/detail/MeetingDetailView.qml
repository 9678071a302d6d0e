import QtQuick
import QtQuick.Controls
import QtQuick.Layouts
import Ondel.App

// One meeting: notes taken while it records, then the notes, transcript and questions after.
// Every edit is stored at once; the Markdown copy follows after a pause in typing.
Item {
    id: view
    required property string meetingId
    property bool showTranscript: false
    property bool showChat: false
    readonly property alias detail: detail
    readonly property alias paneHeight: paneHeight
    readonly property var session: App.session
    readonly property bool live: detail.isRecording && session.isRecording

    MeetingDetail {
        id: detail
        meetingId: view.meetingId
    }
    TranscriptPaneHeight { id: paneHeight }
    NotesSharing {
        id: sharing
        meetingId: view.meetingId
    }

    RowLayout {
        anchors.fill: parent
        spacing: 0

        ColumnLayout {
            Layout.fillWidth: true
            Layout.fillHeight: true
            spacing: 0

            Flickable {
                id: page
                objectName: "detailScroll"
                Layout.fillWidth: true
                Layout.fillHeight: true
                contentWidth: width
                contentHeight: column.implicitHeight + 56
                clip: true
                boundsBehavior: Flickable.StopAtBounds
                ScrollBar.vertical: ScrollBar {}

                ColumnLayout {
                    id: column
                    x: Math.max(36, (page.width - width) / 2)
                    y: 28
                    width: Math.min(660, page.width - 72)
                    spacing: 0

                    TextField {
                        id: titleField
                        objectName: "titleField"
                        Accessible.name: "Title"
                        Layout.fillWidth: true
                        text: detail.title
                        placeholderText: "Untitled"
                        placeholderTextColor: Ondel.tertiaryInk
                        font: Ondel.font(26, Font.DemiBold)
                        color: Ondel.ink
                        selectionColor: Ondel.accentAt(0.3)
                        selectedTextColor: Ondel.ink
                        background: null
                        leftPadding: 0
                        rightPadding: 0
                        onActiveFocusChanged: detail.titleFocused = activeFocus
                        onTextEdited: detail.setTitle(text)
                        Keys.onReturnPressed: detail.isRecording ? liveNotes.forceActiveFocus() : notesArea.focusNotes()
                    }
                    Text {
                        objectName: "metaText"
                        Layout.fillWidth: true
                        Layout.topMargin: 2
                        text: detail.metaText
                        font: Ondel.font(12)
                        color: Ondel.secondaryInk
                        elide: Text.ElideRight
                    }

                    LinkBanner {
                        Layout.fillWidth: true
                        Layout.topMargin: 16
                        visible: !detail.isRecording && detail.linkCandidateTitle.length > 0
                        eventTitle: detail.linkCandidateTitle
                        onLinkRequested: detail.linkToCandidate()
                        onDismissed: detail.dismissLinkBanner()
                    }

                    SpoolBanner {
                        objectName: "spoolBanner"
                        Layout.fillWidth: true
                        Layout.topMargin: 16
                        visible: !detail.isRecording && detail.spooledCount > 0
                        text: detail.spooledText
                        busy: detail.isTranscribingAgain
                        onTranscribeAgain: detail.transcribeAgain()
                    }

                    Item { Layout.preferredHeight: 22 }

                    // While recording: the notes alone.
                    NotesEditor {
                        id: liveNotes
                        objectName: "liveNotes"
                        visible: detail.isRecording
                        Layout.fillWidth: true
                        Layout.minimumHeight: 200
                        placeholder: "Listening — jot your notes"
                        text: detail.userNotes
                        onEdited: text => detail.setUserNotes(text)
                    }

                    NotesArea {
                        id: notesArea
                        visible: !detail.isRecording
                        Layout.fillWidth: true
                        detail: detail
                    }
                }
            }

            // While recording: paused, an error, or the system audio being heard.
            RowLayout {
                objectName: "statusBar"
                visible: detail.isRecording
                Layout.fillWidth: true
                Layout.leftMargin: 36
                Layout.rightMargin: 36
                Layout.preferredHeight: 28
                spacing: 12
                Text {
                    visible: view.session.isPaused
                    text: "Paused"
                    font: Ondel.font(12, Font.Medium)
                    color: Ondel.secondaryInk
                }
                Text {
                    Layout.fillWidth: true
                    visible: view.session.error.length > 0
                    text: view.session.error
                    font: Ondel.font(12)
                    color: Ondel.accent
                    elide: Text.ElideRight
                }
                Item { Layout.fillWidth: true; visible: view.session.error.length === 0 }
                Row {
                    visible: view.session.systemAudioActive
                    spacing: 5
                    Icon { symbol: "speaker.wave.2"; size: 12; color: Ondel.secondaryInk; anchors.verticalCenter: parent.verticalCenter }
                    Text { text: "Capturing system audio"; font: Ondel.font(11.5); color: Ondel.secondaryInk }
                }
            }

            ActionBar {
                visible: !detail.isRecording
                Layout.fillWidth: true
                detail: detail
                sharing: sharing
                transcriptOpen: view.showTranscript
                chatOpen: view.showChat
                onTranscriptToggled: view.showTranscript = !view.showTranscript
                onChatToggled: view.showChat = !view.showChat
            }

            // The transcript rises from the bottom edge, its header first; while recording it is
            // always there.
            Item {
                id: transcriptDrawer
                objectName: "transcriptDrawer"
                readonly property bool open: detail.isRecording || view.showTranscript
                property real openness: open ? 1 : 0
                Behavior on openness { NumberAnimation { duration: 220; easing.type: Easing.OutCubic } }
                visible: openness > 0
                clip: true
                Layout.fillWidth: true
                Layout.preferredHeight: Math.round(paneHeight.height * openness)

                TranscriptPane {
                    id: transcript
                    objectName: "transcriptPane"
                    width: parent.width
                    height: paneHeight.height
                    paneHeight: paneHeight
                    meetingId: view.meetingId
                    isLive: view.live
                    isPaused: view.session.isPaused
                    draft: view.live ? view.session.liveDraft : ""

                    PillButton {
                        objectName: "transcriptToggle"
                        text: "Transcript"
                        symbol: "text.alignleft"
                        ToolTip.visible: hovered
                        ToolTip.text: detail.isRecording ? paneHeight.toggleHelp : "Hide the transcript"
                        ToolTip.delay: 600
                        onClicked: detail.isRecording ? paneHeight.toggle() : (view.showTranscript = false)
                    }
                    Item { Layout.fillWidth: true }
                    PillButton {
                        objectName: "liveAskButton"
                        visible: detail.isRecording
                        text: "Ask"
                        symbol: "bubble.left"
                        ToolTip.visible: hovered
                        ToolTip.text: "Ask about what's being said"
                        ToolTip.delay: 600
                        onClicked: view.showChat = !view.showChat
                    }
                }
            }
        }

        // The chat slides in from the right edge at its full width, so its text never reflows
        // on the way.
        Item {
            id: chatDrawer
            objectName: "chatDrawer"
            readonly property real fullWidth: Math.min(420, Math.max(320, view.width * 0.38)) + 1
            readonly property bool open: view.showChat
            property real openness: open ? 1 : 0
            Behavior on openness { NumberAnimation { duration: 240; easing.type: Easing.OutCubic } }
            visible: openness > 0
            clip: true
            Layout.fillHeight: true
            Layout.preferredWidth: Math.round(fullWidth * openness)

            Rectangle {
                width: 1
                height: parent.height
                color: Ondel.hairline
            }
            MeetingChatPanel {
                id: chatPanel
                objectName: "chatPanel"
                x: 1
                width: chatDrawer.fullWidth - 1
                height: parent.height
                meetingId: view.meetingId
                isRecording: detail.isRecording
                chat: detail.chat
                onSaveRequested: detail.saveChat()
            }
        }
    }

    ShareAlerts {
        objectName: "shareAlerts"
        sharing: sharing
    }
}
