import QtQuick
import QtQuick.Controls
import QtTest
import Ondel.App
import Ondel.Test

// The whole window over a real store: the sidebar's search and groups, folders, deletion,
// the confirmations, and screenshots in both themes.
TestCase {
    id: test
    name: "MainWindow"
    when: windowShown

    Component {
        id: windowComponent
        Main {}
    }

    property var ids: ({})

    function init() {
        TestData.clear()
        TestData.setTheme("light")
        ids = {
            standup: TestData.addMeeting("Daily standup", 25, 840, ["Morning everyone", "I fixed the login bug"],
                                         "## Summary\n- Login fixed"),
            budget: TestData.addMeeting("Budget review Q4", 60 * 26, 3900, ["We need more coffee", "Agreed"]),
            design: TestData.addMeeting("Design critique", 60 * 24 * 3, 2700, ["The new sidebar is calmer"]),
            kickoff: TestData.addMeeting("Project kickoff", 60 * 24 * 30, 5400, ["Welcome to the project"]),
            empty: TestData.addMeeting("", 60 * 24 * 40, 30),
        }
        ids.work = TestData.addFolder("Clients", "briefcase")
        ids.ideas = TestData.addFolder("Ideas", "lightbulb")
        TestData.file(ids.budget, ids.work)
        TestData.file(ids.design, ids.work)
    }

    function makeWindow() {
        const window = createTemporaryObject(windowComponent, test)
        verify(window)
        waitForRendering(window.contentItem)
        return window
    }

    function meetingList(window) {
        return findChild(window.contentItem, "meetingList")
    }

    function sectionsOf(list) {
        const titles = []
        for (const id of list.model.ids()) {
            const row = list.model.indexOf(id)
            const group = list.model.data(list.model.index(row, 0), MeetingListModel.GroupRole)
            if (titles[titles.length - 1] !== group)
                titles.push(group)
        }
        return titles
    }

    function test_sidebarGroupsAndSearches() {
        const window = makeWindow()
        const list = meetingList(window)
        tryCompare(list, "count", 5)
        compare(sectionsOf(list), ["Today", "Yesterday", "This Week", "Earlier"])

        window.sidebar.searchText = "COFFEE"
        compare(list.model.ids(), [ids.budget])
        // The notes that were written for a meeting are not searched.
        window.sidebar.searchText = "login fixed"
        compare(list.count, 0)
        verify(list.model.noSearchResults)
        window.sidebar.searchText = ""
        compare(list.count, 5)
    }

    function test_homeButtonAndPages() {
        const window = makeWindow()
        const home = findChild(window.contentItem, "homeButton")
        compare(home.enabled, false)
        window.content.openMeeting(ids.standup)
        compare(home.enabled, true)
        compare(window.content.page, MainContent.Meeting)
        tryCompare(findChild(window.contentItem, "titleField"), "text", "Daily standup")
        mouseClick(home)
        compare(window.content.page, MainContent.Home)
        compare(home.enabled, false)
        // The settings page hides the idle strip.
        window.content.showSettings()
        tryCompare(findChild(window.contentItem, "recordingStrip"), "visible", false)
    }

    function test_folderPageShowsItsMeetingsAndCount() {
        const window = makeWindow()
        window.content.openFolder(ids.work)
        const cards = findChild(window.contentItem, "cardList")
        tryCompare(cards, "count", 2)
        tryCompare(findChild(window.contentItem, "folderCount"), "text", "2 meetings")
        window.content.openFolder(ids.ideas)
        tryCompare(findChild(window.contentItem, "emptyState"), "visible", true)
    }

    function test_deletingTheShownMeetingGoesHome() {
        const window = makeWindow()
        window.content.openMeeting(ids.design)
        window.content.deleteMeeting(ids.design)
        compare(window.content.page, MainContent.Home)
        verify(!TestData.meetingExists(ids.design))
        tryCompare(meetingList(window), "count", 4)
    }

    function test_newFolderSheetIgnoresABlankName() {
        const window = makeWindow()
        window.sidebar.newFolderRequested(ids.standup)
        const name = findChild(window.Overlay.overlay, "folderName")
        verify(name)
        name.text = "   "
        mouseClick(findChild(window.Overlay.overlay, "createFolder"))
        compare(TestData.folderNames().length, 2)
        name.text = "  Research "
        mouseClick(findChild(window.Overlay.overlay, "createFolder"))
        tryVerify(() => TestData.folderNames().indexOf("Research") >= 0)
        verify(TestData.folderOf(ids.standup).length > 0)
    }

    // An empty store comes back from the archive beside the start-up: the window is usable, the
    // sidebar shows how far it got, and the list fills in.
    function test_recoveryShowsItsProgress_data() {
        return [{ tag: "light" }, { tag: "dark" }]
    }
    function test_recoveryShowsItsProgress(data) {
        TestData.clear()
        TestData.setTheme(data.tag)
        TestData.putRecoveryFiles(300)
        const window = makeWindow()
        const indicator = findChild(window.contentItem, "recoveryIndicator")
        verify(!indicator.visible)
        TestData.startRecovery()
        verify(App.recovery.running)
        verify(indicator.visible)
        verify(TestData.saveScreenshot(window, "recovery-" + data.tag))
        tryVerify(() => !App.recovery.running, 20000)
        verify(!indicator.visible)
        compare(meetingList(window).count, 300)
        TestData.putRecoveryFiles(0)
    }

    function test_screenshots_data() {
        return [{ tag: "light" }, { tag: "dark" }]
    }
    function test_screenshots(data) {
        TestData.setTheme(data.tag)
        const window = makeWindow()
        window.content.openFolder(ids.work)
        window.content.showHome()
        waitForRendering(window.contentItem)
        verify(TestData.saveScreenshot(window, "main-window-" + data.tag))
        window.content.openMeeting(ids.standup)
        waitForRendering(window.contentItem)
        verify(TestData.saveScreenshot(window, "meeting-" + data.tag))
    }
}
