import QtQuick
import QtQuick.Controls
import QtQuick.Layouts
import Ondel.App

// The strip under every page: start, or the running recording with its level, time, pause and
// stop, or the notes being written.
Rectangle {
    id: strip
    signal startRequested()
    signal stopRequested()
    signal pauseRequested()
    signal resumeRequested()
    // The session it shows; a test may give a stand-in.
    property var session: App.session
    readonly property alias elapsed: ticker
    property real micLevel: RecordingController.micLevel

    implicitHeight: 52
    color: Ondel.background

    ElapsedTicker {
        id: ticker
        style: ElapsedTicker.Strip
        paused: strip.session.isPaused
    }

    Rectangle {
        anchors.top: parent.top
        width: parent.width
        height: 1
        color: Ondel.hairline
    }

    // Recording.
    RowLayout {
        objectName: "recordingControls"
        visible: strip.session.isRecording
        anchors.fill: parent
        anchors.leftMargin: 18
        anchors.rightMargin: 14
        spacing: 12
        WaveformIndicator {
            level: strip.session.isPaused ? 0 : strip.micLevel
            isPaused: strip.session.isPaused
        }
        Text {
            objectName: "elapsedText"
            text: ticker.text
            font: Ondel.font(13, Font.Medium)
            color: Ondel.ink
        }
        Text {
            Layout.fillWidth: true
            text: strip.session.error
            visible: text.length > 0
            elide: Text.ElideRight
            maximumLineCount: 1
            font: Ondel.font(11.5)
            color: Ondel.accent
            HoverHandler { id: errorHover }
            ToolTip.visible: errorHover.hovered
            ToolTip.text: text
        }
        Item { Layout.fillWidth: true; visible: strip.session.error.length === 0 }
        Icon {
            objectName: "systemAudioMark"
            visible: strip.session.systemAudioActive && !strip.session.isPaused
            symbol: "speaker.wave.2"
            size: 11
            opacity: 0.6
            HoverHandler { id: speakerHover }
            ToolTip.visible: speakerHover.hovered
            ToolTip.text: "Capturing system audio"
        }
        PillButton {
            objectName: "pauseButton"
            symbol: strip.session.isPaused ? "play.fill" : "pause.fill"
            text: strip.session.isPaused ? "Resume" : "Pause"
            onClicked: strip.session.isPaused ? strip.resumeRequested() : strip.pauseRequested()
        }
        PillButton {
            objectName: "stopButton"
            prominent: true
            text: "Stop"
            onClicked: {
                strip.stopRequested()
                ticker.stop()
            }
        }
    }

    // Writing the notes.
    RowLayout {
        objectName: "writingNotes"
        visible: !strip.session.isRecording && strip.session.isGeneratingSummary
        anchors.fill: parent
        anchors.leftMargin: 18
        spacing: 10
        BusyIndicator { implicitWidth: 18; implicitHeight: 18; running: parent.visible }
        Text { text: "Writing your notes…"; font: Ondel.font(12.5); color: Ondel.secondaryInk; Layout.fillWidth: true }
    }

    // Idle.
    RowLayout {
        objectName: "idleControls"
        visible: !strip.session.isRecording && !strip.session.isGeneratingSummary
        anchors.fill: parent
        anchors.leftMargin: 18
        anchors.rightMargin: 14
        spacing: 12
        Text {
            Layout.fillWidth: true
            text: strip.session.error
            font: Ondel.font(11.5)
            color: Ondel.accent
            elide: Text.ElideRight
            maximumLineCount: 2
            wrapMode: Text.Wrap
        }
        PillButton {
            objectName: "startButton"
            text: "Start recording"
            contentItem: Row {
                spacing: 7
                Rectangle { width: 7; height: 7; radius: 3.5; color: Ondel.accent; anchors.verticalCenter: parent.verticalCenter }
                Text { text: "Start recording"; font: Ondel.font(12.5, Font.Medium); color: Ondel.ink; anchors.verticalCenter: parent.verticalCenter }
            }
            onClicked: {
                strip.startRequested()
                ticker.start()
            }
        }
    }
}
