import QtQuick
import QtQuick.Controls
import QtQuick.Layouts
import Ondel.App

// Questions about the meeting and their answers, over a composer with the model picker. The
// chat service belongs to the meeting's screen, so an answer keeps running while this panel
// is closed.
Item {
    id: panel
    required property string meetingId
    required property bool isRecording
    required property MeetingChatService chat
    // The turns are stored; the screen writes the Markdown copy.
    signal saveRequested()

    readonly property bool canSend: composer.text.trim().length > 0 && !chat.isAnswering
    // Opening the panel is asking to type.
    onVisibleChanged: if (visible) composer.forceActiveFocus()
    readonly property alias draft: composer.text
    // Escape stops an answer that is still coming.
    Keys.onEscapePressed: event => {
        if (chat.isAnswering)
            chat.cancel()
        else
            event.accepted = false
    }

    function send() {
        const question = composer.text.trim()
        if (question.length === 0 || chat.isAnswering)
            return
        composer.text = ""
        if (chat.askAbout(question, meetingId))
            saveRequested()
    }

    ChatMessageListModel {
        id: messages
        meetingId: panel.meetingId
        onCountChanged: conversation.toEnd()
    }
    Connections {
        target: panel.chat
        function onStreamingAnswerChanged() { conversation.toEnd() }
        function onAnswerFinished() { panel.saveRequested() }
    }

    ColumnLayout {
        anchors.fill: parent
        spacing: 0

        ListView {
            id: conversation
            objectName: "chatList"
            Layout.fillWidth: true
            Layout.fillHeight: true
            model: messages
            spacing: 14
            topMargin: 16
            bottomMargin: 16
            clip: true
            boundsBehavior: Flickable.StopAtBounds
            ScrollBar.vertical: ScrollBar {}
            function toEnd() { Qt.callLater(positionViewAtEnd) }

            header: Column {
                width: conversation.width
                visible: messages.count === 0 && !panel.chat.isAnswering
                height: visible ? implicitHeight : 0
                spacing: 6
                padding: 20
                Text {
                    objectName: "chatEmptyTitle"
                    width: parent.width - 40
                    text: panel.isRecording ? "Ask about what's being said" : "Ask about this meeting"
                    font: Ondel.font(14, Font.DemiBold)
                    color: Ondel.ink
                    wrapMode: Text.Wrap
                }
                Text {
                    width: parent.width - 40
                    text: panel.isRecording
                          ? "It reads the transcript again for every question, so “what did they just say?” works."
                          : "Answers come only from the transcript and your notes."
                    font: Ondel.font(12.5)
                    color: Ondel.secondaryInk
                    wrapMode: Text.Wrap
                }
            }

            delegate: Item {
                id: turn
                required property bool isUser
                required property string text
                width: conversation.width
                height: isUser ? question.height : answer.height

                Rectangle {
                    id: question
                    visible: turn.isUser
                    anchors.right: parent.right
                    anchors.rightMargin: 16
                    width: Math.min(questionText.implicitWidth, turn.width * 0.8) + 24
                    height: questionText.height + 16
                    radius: 12
                    color: Ondel.inkAt(0.085)
                    TextEdit {
                        id: questionText
                        x: 12; y: 8
                        width: parent.width - 24
                        text: turn.isUser ? turn.text : ""
                        readOnly: true
                        selectByMouse: true
                        wrapMode: TextEdit.Wrap
                        textFormat: TextEdit.PlainText
                        font: Ondel.font(13)
                        color: Ondel.ink
                    }
                }
                SummaryMarkdown {
                    id: answer
                    visible: !turn.isUser
                    x: 16
                    width: turn.width - 32
                    markdown: turn.isUser ? "" : turn.text
                }
            }

            footer: Column {
                width: conversation.width
                leftPadding: 16
                rightPadding: 16
                topPadding: conversation.spacing
                spacing: 10
                Row {
                    objectName: "thinking"
                    visible: panel.chat.isAnswering && panel.chat.streamingAnswer.length === 0
                    spacing: 8
                    BusyIndicator { width: 16; height: 16; running: parent.visible }
                    Text { text: "Thinking…"; font: Ondel.font(12.5); color: Ondel.secondaryInk }
                }
                SummaryMarkdown {
                    objectName: "streamingAnswer"
                    visible: panel.chat.isAnswering && panel.chat.streamingAnswer.length > 0
                    width: parent.width - 32
                    markdown: panel.chat.isAnswering ? panel.chat.streamingAnswer : ""
                }
                Text {
                    objectName: "chatError"
                    visible: panel.chat.error.length > 0
                    width: parent.width - 32
                    text: panel.chat.error
                    font: Ondel.font(12.5)
                    color: "#d93025"
                    wrapMode: Text.Wrap
                }
            }
        }

        Rectangle {
            Layout.fillWidth: true
            Layout.margins: 12
            Layout.preferredHeight: composerRow.implicitHeight + 16
            radius: 14
            color: Ondel.raised
            border.width: 0.5
            border.color: Ondel.inkAt(0.16)

            RowLayout {
                id: composerRow
                anchors.fill: parent
                anchors.margins: 8
                anchors.leftMargin: 12
                spacing: 6

                ScrollView {
                    Layout.fillWidth: true
                    contentWidth: availableWidth
                    ScrollBar.horizontal.policy: ScrollBar.AlwaysOff
                    Layout.alignment: Qt.AlignVCenter
                    // One line to four, then it scrolls.
                    Layout.preferredHeight: Math.min(composer.implicitHeight, composer.lineHeight * 4 + composer.topPadding + composer.bottomPadding)
                    FontMetrics { id: metrics; font: composer.font }
                    TextArea {
                        id: composer
                        objectName: "chatComposer"
                        Accessible.name: "Question"
                        readonly property real lineHeight: Math.ceil(metrics.lineSpacing)
                        placeholderText: panel.isRecording ? "Ask anything about this meeting…" : "Ask anything…"
                        placeholderTextColor: Ondel.tertiaryInk
                        font: Ondel.font(13)
                        color: Ondel.ink
                        wrapMode: TextEdit.Wrap
                        textFormat: TextEdit.PlainText
                        background: null
                        padding: 2
                        Keys.onReturnPressed: event => {
                            if (event.modifiers & Qt.ShiftModifier) {
                                event.accepted = false
                                return
                            }
                            panel.send()
                        }
                        Keys.onEnterPressed: event => panel.send()
                    }
                }
                ChatModelPicker { Layout.alignment: Qt.AlignBottom }
                ToolButtonIcon {
                    id: sendButton
                    objectName: panel.chat.isAnswering ? "stopButton" : "sendButton"
                    Layout.alignment: Qt.AlignBottom
                    // The keyboard stays in the composer.
                    focusPolicy: Qt.NoFocus
                    symbol: panel.chat.isAnswering ? "stop.circle.fill" : "arrow.up.circle.fill"
                    text: panel.chat.isAnswering ? "Stop" : "Send"
                    tip: panel.chat.isAnswering ? "Stop" : ""
                    enabled: panel.chat.isAnswering || panel.canSend
                    onClicked: panel.chat.isAnswering ? panel.chat.cancel() : panel.send()
                }
            }
        }
    }
}
