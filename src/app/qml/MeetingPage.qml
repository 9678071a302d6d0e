import QtQuick
import QtQuick.Controls
import QtQuick.Layouts
import Ondel.App

// A meeting: its title, when and how long, its notes as written, and its lines as they come.
Item {
    id: page
    required property string meetingId

    MeetingObject {
        id: meeting
        meetingId: page.meetingId
    }

    SegmentListModel {
        id: lines
        meetingId: page.meetingId
    }

    ListView {
        id: list
        objectName: "lineList"
        anchors.fill: parent
        anchors.leftMargin: Math.max(28, (width - 720) / 2)
        anchors.rightMargin: anchors.leftMargin
        model: lines
        spacing: 6
        reuseItems: true
        boundsBehavior: Flickable.StopAtBounds
        ScrollBar.vertical: ScrollBar {}

        header: ColumnLayout {
            width: list.width
            spacing: 4
            Item { Layout.preferredHeight: 28 }
            Text {
                objectName: "meetingTitle"
                Layout.fillWidth: true
                text: meeting.title
                font: Ondel.font(24, Font.DemiBold)
                color: Ondel.ink
                wrapMode: Text.Wrap
            }
            Text {
                text: meeting.dateText + (meeting.durationText.length > 0 ? "  ·  " + meeting.durationText : "")
                font: Ondel.font(12)
                color: Ondel.secondaryInk
            }
            EditorialLabel {
                visible: meeting.summary.length > 0
                text: "Notes"
                topPadding: 20
                bottomPadding: 4
            }
            Text {
                Layout.fillWidth: true
                visible: meeting.summary.length > 0
                text: meeting.summary
                textFormat: Text.MarkdownText
                font: Ondel.body
                color: Ondel.ink
                wrapMode: Text.Wrap
            }
            EditorialLabel {
                visible: lines.count > 0
                text: "Transcript"
                topPadding: 20
                bottomPadding: 6
            }
        }

        delegate: RowLayout {
            required property string speaker
            required property bool isMe
            required property string text
            required property string timeText
            width: list.width
            spacing: 10
            Text {
                Layout.alignment: Qt.AlignTop
                Layout.preferredWidth: 44
                text: parent.timeText
                font: Ondel.font(11)
                color: Ondel.tertiaryInk
                topPadding: 2
            }
            Text {
                Layout.alignment: Qt.AlignTop
                Layout.preferredWidth: 48
                text: parent.speaker
                font: Ondel.font(12, Font.DemiBold)
                color: parent.isMe ? Ondel.accent : Ondel.secondaryInk
                topPadding: 1
                elide: Text.ElideRight
            }
            Text {
                Layout.fillWidth: true
                text: parent.text
                font: Ondel.body
                color: Ondel.ink
                wrapMode: Text.Wrap
            }
        }
        footer: Item { width: 1; height: 28 }
    }

    Text {
        visible: lines.count === 0
        anchors.centerIn: parent
        text: App.session.isRecording ? "Listening…" : "No transcript yet."
        font: Ondel.font(14)
        color: Ondel.secondaryInk
    }
}
