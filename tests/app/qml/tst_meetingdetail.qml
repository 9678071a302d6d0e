import QtQuick
import QtQuick.Controls
import QtTest
import Ondel.App
import Ondel.Test

// A meeting's screen in the real window: which notes area shows, the title and notes edits and
// their delayed archive write, the transcript pane, the feed's bubbles and following, the chat
// panel against a local model server, the copy buttons, and a screen of its own per meeting.
WindowTestCase {
    id: test
    name: "MeetingDetail"

    Component { id: detailComponent; MeetingDetail {} }
    Component { id: sharingComponent; NotesSharing {} }

    function init() {
        fresh()
        TestData.setSignedIn(true)
        App.settings.transcriptPaneHeight = 340
        App.settings.chatModel = "fast"
    }

    function open(meetingId) {
        makeWindow()
        window.content.openMeeting(meetingId)
        waitForRendering(window.contentItem)
    }
    // Clicks a control and waits for the layout it changes to be done, panels moved all the way.
    function press(name) {
        mouseClick(child(name))
        tryVerify(() => ["transcriptDrawer", "chatDrawer"].every(d => child(d).openness === (child(d).open ? 1 : 0)))
        waitForRendering(window.contentItem)
    }
    // Another meeting, once the last one's screen has gone.
    function openAnother(meetingId, title) {
        window.content.openMeeting(meetingId)
        tryVerify(() => child("titleField").text === title)
        waitForRendering(window.contentItem)
    }
    // A question from the open chat panel, once it has reached the model server as its `nth`.
    function ask(question, nth) {
        child("chatComposer").text = question
        mouseClick(child("chatComposer"))
        keyClick(Qt.Key_Return)
        tryVerify(() => TestData.modelRequestCount() === nth, 5000)
    }

    function test_notesArea_data() {
        return [
            { tag: "nothing", lines: [], notes: "", summary: "", area: "emptyNotes", button: "" },
            { tag: "transcript only", lines: ["Hello"], notes: "", summary: "", area: "generateButton", button: "Generate summary" },
            { tag: "notes only", lines: [], notes: "My notes", summary: "", area: "generateButton", button: "Enhance with AI" },
            { tag: "blank notes", lines: [], notes: "  \n ", summary: "", area: "emptyNotes", button: "" },
            { tag: "summary", lines: ["Hello"], notes: "", summary: "## Decisions\n- Ship it", area: "summaryBlocks", button: "" },
        ]
    }
    function test_notesArea(data) {
        const id = TestData.addMeeting("Sync", 10, 600, data.lines, data.summary)
        if (data.notes.length > 0)
            TestData.setField(id, "userNotes", data.notes)
        open(id)
        tryCompare(child(data.area), "visible", true)
        if (data.button.length > 0)
            compare(child("generateButton").text, data.button)
        compare(child("modeTabs").visible, data.summary.length > 0)
    }

    function test_firstKeystrokeLeavesTheEmptyArea() {
        const id = TestData.addMeeting("Blank", 5, 0)
        open(id)
        verify(child("emptyNotes").visible)
        mouseClick(child("notesEditor"))
        keyClick("a")
        tryCompare(child("emptyNotes"), "visible", false)
        compare(child("generateButton").text, "Enhance with AI")
        compare(TestData.meeting(id).userNotes, "a")
    }

    function test_regenerateWithoutCredentialsShowsWhy() {
        TestData.setSignedIn(false)
        open(TestData.addMeeting("Sync", 10, 600, ["We agreed on Friday"]))
        mouseClick(child("generateButton"))
        tryCompare(child("regenerateError"), "text", "Sign in or add a Vrel key in Settings to generate summaries.")
        verify(child("generateButton").visible)
        compare(TestData.modelRequestCount(), 0)
    }

    function test_onlyFocusedTitleChangesAreTheUsers() {
        const id = TestData.addMeeting("Old title", 10, 600, ["Hello"])
        open(id)
        const title = child("titleField")
        // A generated title arrives while the field has no focus.
        TestData.setField(id, "title", "Generated title")
        tryCompare(title, "text", "Generated title")
        compare(TestData.meeting(id).titleIsUserEdited, false)

        mouseClick(title)
        keyClick(Qt.Key_End)
        typeText("!")
        compare(TestData.meeting(id).title, "Generated title!")
        compare(TestData.meeting(id).titleIsUserEdited, true)
    }

    function test_archiveFollowsTheLastKeystroke() {
        const id = TestData.addMeeting("Typing", 10, 600, ["Hello"])
        open(id)
        mouseClick(child("notesEditor"))
        typeText("abc")
        TestData.advance(800)
        typeText("def")
        TestData.advance(800)
        // Still typing: nothing of it is in the archive.
        verify(TestData.archivedText(id).indexOf("abcdef") < 0)
        compare(TestData.meeting(id).userNotes, "abcdef")
        TestData.advance(100)
        verify(TestData.archivedText(id).indexOf("abcdef") >= 0)
    }

    // The length once there is one, and the auto-start only while it is ahead and not recording.
    function test_metaRow() {
        const id = TestData.addMeeting("Later", -30, 0)
        open(id)
        verify(!child("metaText").text.endsWith("<1m"), child("metaText").text)
        TestData.setField(id, "autoStart", 30)
        verify(child("metaText").text.indexOf("Auto-start at ") >= 0)
        TestData.setField(id, "isRecording", true)
        verify(child("metaText").text.indexOf("Auto-start") < 0)
        openAnother(TestData.addMeeting("Long", 90, 3600), "Long")
        verify(child("metaText").text.endsWith("  ·  1h 0m"), child("metaText").text)
    }

    function test_transcriptPaneDragStopsAtItsLimits() {
        open(TestData.addMeeting("Drag", 10, 600, ["One", "Two"]))
        press("transcriptButton")
        const pane = child("transcriptPane")
        const grip = child("resizeGrip")
        // In window coordinates: the handle itself moves as the pane grows.
        const dragBy = dy => {
            const at = grip.mapToItem(window.contentItem, grip.width / 2, grip.height / 2)
            mouseDrag(window.contentItem, at.x, at.y, 0, dy)
            waitForRendering(window.contentItem)
        }
        dragBy(-100)
        tryCompare(App.settings, "transcriptPaneHeight", 440)
        // Each drag starts from the height it found, and stops at the limits.
        App.settings.transcriptPaneHeight = 500
        waitForRendering(window.contentItem)
        dragBy(-120)
        tryCompare(App.settings, "transcriptPaneHeight", 560)
        App.settings.transcriptPaneHeight = 100
        waitForRendering(window.contentItem)
        dragBy(120)
        tryCompare(App.settings, "transcriptPaneHeight", 44)
        compare(pane.height, 44)
    }

    function test_recordingViewTogglesThePaneByHeight_data() {
        return [
            { tag: "folded", height: 60, help: "Show the transcript", after: 240 },
            { tag: "open", height: 61, help: "Collapse the transcript", after: 44 },
        ]
    }
    function test_recordingViewTogglesThePaneByHeight(data) {
        const id = TestData.addMeeting("Live", 1, 0)
        TestData.setField(id, "isRecording", true)
        App.settings.transcriptPaneHeight = data.height
        open(id)
        verify(child("liveNotes").visible)
        const toggle = child("transcriptToggle")
        compare(toggle.ToolTip.text, data.help)
        mouseClick(toggle)
        compare(App.settings.transcriptPaneHeight, data.after)
    }

    function test_feedFollowsOnlyAReaderAtTheEnd() {
        const id = TestData.addMeeting("Long", 10, 600)
        for (let i = 0; i < 80; ++i)
            TestData.addLine(id, i % 2 === 0, "Line number " + i + " of a long conversation", 5.0 * i)
        open(id)
        press("transcriptButton")
        const list = child("feedList")
        const pill = child("latestPill")
        tryCompare(list, "count", 80)
        tryVerify(() => list.atYEnd)

        // At the end, a new line is followed.
        TestData.addLine(id, false, "A new line", 1000)
        tryVerify(() => list.atYEnd)
        verify(!pill.shown)

        // Scrolled back, a new line leaves the reader where they are.
        list.positionViewAtBeginning()
        const y = list.contentY
        TestData.addLine(id, true, "Another new line", 1010)
        tryCompare(pill, "shown", true)
        compare(list.contentY, y)
        mouseClick(pill)
        tryCompare(pill, "shown", false)
        tryVerify(() => list.atYEnd)

        // Scrolling down by hand hides the pill too.
        list.positionViewAtBeginning()
        TestData.addLine(id, false, "Yet another", 1020)
        tryCompare(pill, "shown", true)
        list.positionViewAtEnd()
        tryCompare(pill, "shown", false)
    }

    function test_chatSendAndStop() {
        open(TestData.addMeeting("Budget review", 10, 600, ["We approved the budget"]))
        press("askButton")
        const panel = child("chatPanel")
        compare(child("chatEmptyTitle").text, "Ask about this meeting")
        const composer = child("chatComposer")
        mouseClick(composer)

        // Blanks are not a question.
        typeText("   ")
        verify(!child("sendButton").enabled)
        keyClick(Qt.Key_Return)
        compare(TestData.modelRequestCount(), 0)

        ask("What was decided?", 1)
        compare(composer.text, "")
        tryCompare(child("thinking"), "visible", true)
        const stop = child("stopButton")

        // Return during an answer does not interrupt it or ask again.
        composer.text = "And who pays?"
        keyClick(Qt.Key_Return)
        compare(TestData.modelRequestCount(), 1)
        compare(composer.text, "And who pays?")

        TestData.streamPiece("The **budget** was approved.")
        tryCompare(child("streamingAnswer"), "visible", true)
        // Closing and opening the panel keeps the answer running.
        press("askButton")
        press("askButton")
        verify(panel.chat.isAnswering)

        mouseClick(stop)
        tryCompare(panel.chat, "isAnswering", false)
        compare(child("chatList").count, 1) // the question only: the partial answer is dropped
        verify(child("sendButton").enabled)

        mouseClick(composer)
        keyClick(Qt.Key_Return)
        tryVerify(() => TestData.modelRequestCount() === 2, 5000)
        TestData.streamPiece("Marketing pays.")
        TestData.endAnswer()
        tryCompare(child("chatList"), "count", 3)
        tryCompare(panel.chat, "isAnswering", false)
    }

    function test_chatWordingFollowsTheRecording() {
        const id = TestData.addMeeting("Live", 1, 0)
        TestData.setField(id, "isRecording", true)
        open(id)
        press("liveAskButton")
        compare(child("chatEmptyTitle").text, "Ask about what's being said")
        compare(child("chatComposer").placeholderText, "Ask anything about this meeting…")
        TestData.setField(id, "isRecording", false)
        tryCompare(child("chatEmptyTitle"), "text", "Ask about this meeting")
        compare(child("chatComposer").placeholderText, "Ask anything…")
    }

    function test_modelPicker() {
        App.settings.chatModel = "no-longer-offered"
        open(TestData.addMeeting("Picker", 10, 600, ["Hello"]))
        press("askButton")
        compare(child("chosenModel").text, "Auto")
        press("modelPicker")
        const menu = child("modelPicker").menu
        tryCompare(menu, "opened", true)
        const opus = findChild(menu.contentItem, "model_claude-opus-5")
        verify(opus)
        mouseClick(opus)
        compare(App.settings.chatModel, "claude-opus-5")
        compare(child("chosenModel").text, "Claude Opus 5")
        ask("Summarise", 1) // the next question asks that model
        verify(TestData.lastModelRequest().indexOf("claude-opus-5") >= 0)
        // Escape stops the answer from the keyboard.
        keyClick(Qt.Key_Escape)
        tryCompare(child("chatPanel").chat, "isAnswering", false)
    }

    // Opening another meeting shows nothing of the last one's screen: not its panels, tab,
    // running answer or share; and when they end, nothing of them lands on the new one.
    function test_eachMeetingHasItsOwnScreen() {
        const a = TestData.addMeeting("Budget", 10, 600, ["We approved the budget"], "## Notes\n- Approved")
        const b = TestData.addMeeting("Hiring", 20, 600, ["Two engineers"], "## Notes\n- Hire two")
        TestData.holdShares(true)
        TestData.setClipboardText("before")
        open(a)
        press("transcriptButton")
        press("tabNotes")
        press("askButton")
        ask("What was decided?", 1)
        TestData.streamPiece("The budget")
        tryCompare(child("streamingAnswer"), "visible", true)
        mouseClick(child("shareButton"))
        verify(!child("shareButton").enabled)

        openAnother(b, "Hiring")
        verify(!child("transcriptDrawer").visible && !child("chatDrawer").visible)
        verify(child("summaryBlocks").visible)
        verify(child("shareButton").enabled)
        press("askButton")
        verify(!child("thinking").visible && !child("streamingAnswer").visible)
        verify(findChild(window.contentItem, "sendButton"))
        compare(child("chatList").count, 0)

        TestData.holdShares(false)
        TestData.endAnswer()
        wait(0)
        verify(!child("shareAlerts").confirm.visible)
        compare(TestData.clipboardText(), "before")
        compare(TestData.archivedText(b), "")
        verify(TestData.archivedText(a).indexOf("What was decided?") >= 0)
    }

    // The screen's objects, moved to another meeting, keep nothing of the last one.
    function test_screenObjectsMovedToAnotherMeetingStartAfresh() {
        const a = TestData.addMeeting("A", 10, 600, ["Hello"], "## Notes\n- A")
        const b = TestData.addMeeting("B", 20, 600, ["Hello"], "## Notes\n- B")
        TestData.holdShares(true)
        TestData.setClipboardText("before")
        const detail = createTemporaryObject(detailComponent, test, { meetingId: a })
        const sharing = createTemporaryObject(sharingComponent, test, { meetingId: a })
        sharing.share()
        verify(sharing.isSharing)
        TestData.setSignedIn(false)
        verify(!detail.chat.askAbout("Who?", a))
        verify(detail.chat.error.length > 0)
        detail.detailMode = MeetingDetail.Notes

        detail.meetingId = b
        sharing.meetingId = b
        compare(detail.chat.error, "")
        compare(detail.detailMode, MeetingDetail.Enhanced)
        verify(!sharing.isSharing)
        TestData.holdShares(false)
        wait(0)
        verify(!sharing.showShareConfirm)
        compare(TestData.clipboardText(), "before")
    }

    // A copy shows a tick for 1.4 s; with nothing to copy the button does nothing.
    function test_copyButtons_data() {
        return [
            { tag: "summary", button: "copySummary", lines: [], summary: "## Notes\n- Ship it", copied: "- Ship it" },
            { tag: "no summary", button: "copySummary", lines: ["Hello"], summary: "", copied: "" },
            { tag: "transcript", button: "copyTranscript", lines: ["We approved it"], summary: "", copied: "We approved it" },
            { tag: "no transcript", button: "copyTranscript", lines: [], summary: "## Notes", copied: "" },
        ]
    }
    function test_copyButtons(data) {
        open(TestData.addMeeting("Copy", 10, 600, data.lines, data.summary))
        TestData.setClipboardText("before")
        const button = child(data.button)
        mouseClick(button)
        compare(button.copied, data.copied.length > 0)
        if (!button.copied) {
            compare(TestData.clipboardText(), "before")
            return
        }
        verify(TestData.clipboardText().indexOf(data.copied) >= 0, TestData.clipboardText())
        tryCompare(findChild(button, "copiedTick"), "opacity", 1)
        TestData.advance(1400)
        verify(!button.copied)
    }

    // The panels move in and out: right after the click they are on their way.
    function test_panelsOpenAndCloseWithAnimation_data() {
        return [
            { tag: "transcript", button: "transcriptButton", drawer: "transcriptDrawer" },
            { tag: "chat", button: "askButton", drawer: "chatDrawer" },
        ]
    }
    function test_panelsOpenAndCloseWithAnimation(data) {
        open(TestData.addMeeting("Panels", 10, 600, ["Hello"]))
        const drawer = child(data.drawer)
        mouseClick(child(data.button))
        verify(drawer.openness < 1)
        tryCompare(drawer, "openness", 1)
        mouseClick(child(data.button))
        verify(drawer.visible && drawer.openness > 0)
        tryCompare(drawer, "visible", false)
    }

    function test_sharing_data() {
        return [
            { tag: "signed out", signedIn: false, link: "", error: "", alert: "failure", text: "Sign in (Settings → Account) to share notes." },
            { tag: "refused", signedIn: true, link: "", error: "The server is busy.", alert: "failure", text: "The server is busy." },
            { tag: "shared", signedIn: true, link: "https://ondel.app/s/abc", error: "", alert: "confirm", text: "https://ondel.app/s/abc" },
        ]
    }
    function test_sharing(data) {
        TestData.setSignedIn(data.signedIn)
        TestData.setShareAnswer(data.link, data.error)
        TestData.setClipboardText("before")
        open(TestData.addMeeting("Shared", 10, 600, ["Hello"], "## Notes\n- Ship it"))
        mouseClick(child("shareButton"))
        const alert = child("shareAlerts")[data.alert]
        tryCompare(alert, "visible", true)
        verify(alert.message.indexOf(data.text) >= 0, alert.message)
        // A failure leaves the clipboard as it was.
        compare(TestData.clipboardText(), data.link.length > 0 ? data.link : "before")
        compare(TestData.shareCount(), data.signedIn ? 1 : 0)
    }

    // The parts still waiting in the spool, and the button that sends them again, from the keyboard.
    function test_spoolBanner() {
        const id = TestData.addMeeting("Hiring sync", 30, 1200, ["We need two more engineers"])
        open(id)
        compare(child("spoolBanner").visible, false)
        TestData.addSpooled(id, 3)
        tryCompare(child("spoolBanner"), "visible", true)
        compare(child("spoolText").text, "3 parts couldn't be transcribed yet")
        const button = child("transcribeAgainButton")
        compare(button.Accessible.name, "Transcribe again")
        const before = TestData.modelRequestCount()
        button.forceActiveFocus(Qt.TabFocusReason)
        verify(button.visualFocus)
        keyClick(Qt.Key_Space)
        // The model server refuses: the first failure ends the pass, and the parts stay.
        tryVerify(() => TestData.modelRequestCount() === before + 1, 5000)
        tryCompare(button, "enabled", true)
        compare(child("spoolText").text, "3 parts couldn't be transcribed yet")
    }

    function test_screenshots_data() {
        return [{ tag: "light" }, { tag: "dark" }]
    }
    function test_screenshots(data) {
        TestData.setTheme(data.tag)
        open(TestData.addMeeting("Quarterly planning", 90, 3900,
            ["Let's start with the roadmap", "Sounds good, the mobile app first", "We need two more engineers",
             "Hiring is approved for Q1"],
            "## Decisions\n- Ship the **mobile app** first\n- Hire two engineers in Q1\n\n## Action items\n- [x] Share the roadmap\n- [ ] Draft the job posts\n\nThe team agreed the *web app* waits until spring."))
        mouseClick(child("copyTranscript"))
        tryCompare(findChild(child("copyTranscript"), "copiedTick"), "opacity", 1)
        verify(TestData.saveScreenshot(window, "detail-reading-" + data.tag))
        TestData.advance(1400)
        press("transcriptButton")

        press("askButton")
        ask("Who owns the job posts?", 1)
        TestData.streamPiece("**Dana** drafts the job posts.")
        TestData.endAnswer()
        tryCompare(child("chatList"), "count", 2)
        waitForRendering(window.contentItem)
        // The shared tooltip takes the theme too.
        const tip = child("modelPicker").ToolTip.toolTip
        tip.parent = child("modelPicker")
        tip.show("Which model answers")
        tryVerify(() => tip.opened)
        compare(tip.background.color, Ondel.raised)
        verify(TestData.saveScreenshot(window, "detail-chat-" + data.tag))
        tip.hide()

        const waiting = TestData.addMeeting("Hiring sync", 30, 1200,
            ["We need two more engineers", "Hiring is approved for Q1", "Dana drafts the job posts"])
        TestData.addSpooled(waiting, 2)
        window.content.openMeeting(waiting)
        waitForRendering(window.contentItem)
        verify(TestData.saveScreenshot(window, "detail-spool-" + data.tag))

        const live = TestData.addMeeting("Design sync", 2, 0)
        TestData.setField(live, "isRecording", true)
        TestData.setField(live, "userNotes", "Sidebar: calmer colours\nAsk Minh about the icons")
        TestData.addLine(live, false, "Can everyone see my screen?", 1.0)
        TestData.addLine(live, true, "Yes, looks good.", 2.2)
        TestData.addLine(live, false, "Great. So the sidebar got calmer colours this week.", 6.0)
        window.content.openMeeting(live)
        waitForRendering(window.contentItem)
        verify(TestData.saveScreenshot(window, "detail-recording-" + data.tag))
    }
}
