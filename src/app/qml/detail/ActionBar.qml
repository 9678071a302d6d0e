import QtQuick
import QtQuick.Controls
import QtQuick.Layouts
import Ondel.App

// Under a finished meeting's notes: copy, regenerate, share, and the transcript and chat panels.
Rectangle {
    id: bar
    required property MeetingDetail detail
    required property NotesSharing sharing
    property bool transcriptOpen: false
    property bool chatOpen: false
    signal transcriptToggled()
    signal chatToggled()
    // Beside the chat panel the copy buttons give up their words.
    readonly property bool compact: width < 640

    implicitHeight: 52
    color: Ondel.background

    Rectangle { width: parent.width; height: 1; color: Ondel.hairline }

    RowLayout {
        anchors.fill: parent
        anchors.leftMargin: 28
        anchors.rightMargin: 28
        spacing: 8

        CopyActionButton {
            objectName: "copySummary"
            compact: bar.compact
            title: "Copy summary"
            symbol: "doc.on.doc"
            isEnabled: !bar.detail.summaryIsEmpty
            onCopy: bar.detail.copySummary()
        }
        CopyActionButton {
            objectName: "copyTranscript"
            compact: bar.compact
            title: "Copy transcript"
            symbol: "text.alignleft"
            isEnabled: bar.detail.hasTranscript
            onCopy: bar.detail.copyTranscript()
        }
        ToolButtonIcon {
            objectName: "regenerateButton"
            symbol: "arrow.clockwise"
            text: "Regenerate"
            tip: bar.detail.regenerateHelp
            enabled: bar.detail.canRegenerate
            onClicked: bar.detail.regenerate()
        }
        ToolButtonIcon {
            objectName: "shareButton"
            symbol: "square.and.arrow.up"
            text: "Share"
            tip: "Share summary — copies a public link"
            enabled: !bar.sharing.isSharing && !bar.detail.summaryIsEmpty
            onClicked: bar.sharing.share()
        }
        Item { Layout.fillWidth: true }
        PillButton {
            objectName: "transcriptButton"
            text: "Transcript"
            symbol: "text.alignleft"
            prominent: bar.transcriptOpen
            onClicked: bar.transcriptToggled()
        }
        PillButton {
            objectName: "askButton"
            text: "Ask"
            symbol: "bubble.left"
            prominent: bar.chatOpen
            ToolTip.visible: hovered
            ToolTip.text: "Ask about this meeting"
            ToolTip.delay: 600
            onClicked: bar.chatToggled()
        }
    }
}
