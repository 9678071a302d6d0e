import QtQuick
import QtTest
import Ondel.App
import Ondel.Test

// The strip's three states and its clock, over a stand-in session and the fake clock.
TestCase {
    id: test
    name: "RecordingStrip"
    width: 800
    height: 60
    visible: true
    when: windowShown

    QtObject {
        id: fakeSession
        property bool isRecording: false
        property bool isPaused: false
        property bool isGeneratingSummary: false
        property bool systemAudioActive: false
        property string error: ""
    }

    Component {
        id: stripComponent
        RecordingControlView {
            width: 800
            session: fakeSession
            micLevel: 0.5
        }
    }

    function init() {
        fakeSession.isRecording = false
        fakeSession.isPaused = false
        fakeSession.isGeneratingSummary = false
        fakeSession.systemAudioActive = false
        fakeSession.error = ""
    }

    function shown(strip, name) {
        return findChild(strip, name).visible
    }

    function test_exactlyOneStateShows_data() {
        return [
            { tag: "idle", recording: false, writing: false, visible: "idleControls" },
            { tag: "recording", recording: true, writing: false, visible: "recordingControls" },
            { tag: "writing notes", recording: false, writing: true, visible: "writingNotes" },
            { tag: "recording wins over writing", recording: true, writing: true, visible: "recordingControls" },
        ]
    }
    function test_exactlyOneStateShows(data) {
        const strip = createTemporaryObject(stripComponent, test)
        fakeSession.isRecording = data.recording
        fakeSession.isGeneratingSummary = data.writing
        for (const name of ["idleControls", "recordingControls", "writingNotes"])
            compare(shown(strip, name), name === data.visible, name)
    }

    function test_theClockStandsStillWhilePausedAndPassesTheHour() {
        const strip = createTemporaryObject(stripComponent, test)
        strip.startRequested.connect(() => fakeSession.isRecording = true)
        mouseClick(findChild(strip, "startButton"))
        compare(fakeSession.isRecording, true)
        const clock = findChild(strip, "elapsedText")
        compare(clock.text, "0:00")
        TestData.advance(3000)
        compare(clock.text, "0:03")
        fakeSession.isPaused = true
        TestData.advance(5000)
        compare(clock.text, "0:03")
        fakeSession.isPaused = false
        TestData.advance(3596000)
        compare(clock.text, "59:59")
        TestData.advance(1000)
        compare(clock.text, "1:00:00")
        // Stop ends the clock.
        mouseClick(findChild(strip, "stopButton"))
        TestData.advance(5000)
        compare(clock.text, "1:00:00")
    }

    function test_aRecordingStartedElsewhereShowsAClockThatDoesNotRun() {
        const strip = createTemporaryObject(stripComponent, test)
        fakeSession.isRecording = true
        TestData.advance(4000)
        compare(findChild(strip, "elapsedText").text, "0:00")
    }

    function test_systemAudioMarkOnlyWhileCapturingAndNotPaused() {
        const strip = createTemporaryObject(stripComponent, test)
        fakeSession.isRecording = true
        compare(shown(strip, "systemAudioMark"), false) // the microphone alone
        fakeSession.systemAudioActive = true
        compare(shown(strip, "systemAudioMark"), true)
        fakeSession.isPaused = true
        compare(shown(strip, "systemAudioMark"), false)
    }

    function test_anErrorShowsWhileIdleAndTheButtonReadsPauseOrResume() {
        const strip = createTemporaryObject(stripComponent, test)
        fakeSession.error = "Add an API key in Settings"
        verify(findChild(strip, "idleControls").visible)
        fakeSession.isRecording = true
        const pause = findChild(strip, "pauseButton")
        compare(pause.text, "Pause")
        fakeSession.isPaused = true
        compare(pause.text, "Resume")
    }
}
