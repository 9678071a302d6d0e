import QtQuick
import QtQuick.Controls
import QtQuick.Layouts
import Ondel.App

ApplicationWindow {
    id: window
    width: 1120
    height: 740
    visible: true
    title: "Ondel"

    MeetingListModel {
        id: meetings
    }

    function clock(seconds) {
        const m = Math.floor(seconds / 60)
        const s = seconds % 60
        return (m < 10 ? "0" : "") + m + ":" + (s < 10 ? "0" : "") + s
    }

    ColumnLayout {
        anchors.fill: parent
        anchors.margins: 24
        spacing: 12

        RowLayout {
            Layout.fillWidth: true
            spacing: 12

            Label {
                Layout.fillWidth: true
                text: "Meetings"
                font.pixelSize: 22
                font.weight: Font.DemiBold
            }

            Rectangle {
                visible: RecordingController.isRecording
                width: 10
                height: 10
                radius: 5
                color: RecordingController.isPaused ? "#b0b0b0" : "#e5484d"
            }
            Label {
                visible: RecordingController.isRecording
                text: window.clock(RecordingController.elapsedSeconds)
                font.family: "monospace"
            }
            // Me and Them, read ten times a second.
            Repeater {
                model: RecordingController.isRecording ? [RecordingController.micLevel, RecordingController.systemLevel] : []
                delegate: Rectangle {
                    required property var modelData
                    width: 48
                    height: 6
                    radius: 3
                    color: "#e0e0e0"
                    Rectangle {
                        width: parent.width * Math.min(1, parent.modelData)
                        height: parent.height
                        radius: 3
                        color: "#30a46c"
                    }
                }
            }
            Button {
                visible: RecordingController.isRecording
                text: RecordingController.isPaused ? "Resume" : "Pause"
                onClicked: RecordingController.isPaused ? RecordingController.resume() : RecordingController.pause()
            }
            Button {
                text: RecordingController.isRecording ? "Stop recording" : "Start recording"
                highlighted: !RecordingController.isRecording
                onClicked: RecordingController.isRecording ? RecordingController.stop() : RecordingController.start()
            }
        }

        Label {
            Layout.fillWidth: true
            visible: RecordingController.error.length > 0
            text: RecordingController.error
            color: "#cd2b31"
            wrapMode: Text.Wrap
        }

        Label {
            visible: RecordingController.isGeneratingSummary
            text: "Writing notes…"
            opacity: 0.6
        }

        Label {
            visible: meetings.count === 0
            text: "No meetings yet."
            opacity: 0.6
        }

        ListView {
            Layout.fillWidth: true
            Layout.fillHeight: true
            clip: true
            model: meetings
            spacing: 2
            delegate: ItemDelegate {
                required property string title
                required property date date
                required property double duration
                required property bool isRecording
                width: ListView.view.width
                contentItem: RowLayout {
                    Label {
                        Layout.fillWidth: true
                        text: (title.length > 0 ? title : "Untitled") + (isRecording ? "  ●" : "")
                        elide: Text.ElideRight
                    }
                    Label {
                        text: Qt.formatDateTime(date, "d MMM yyyy, HH:mm")
                        opacity: 0.6
                    }
                    Label {
                        text: Math.round(duration / 60) + " min"
                        opacity: 0.6
                    }
                }
            }
        }
    }
}
