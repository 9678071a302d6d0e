import QtQuick
import QtQuick.Controls
import QtTest
import Ondel.App
import Ondel.Test

// The whole window over a real store: the sidebar's search, folders, deletion,
// the confirmations, and screenshots in both themes.
WindowTestCase {
    id: test
    name: "MainWindow"

    property var ids: ({})

    function init() {
        fresh()
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

    // Which meetings a search finds, and their date groups, are the list model's to decide
    // (tst_shellmodels); the sidebar shows them.
    function test_sidebarSearches() {
        const window = makeWindow()
        const list = child("meetingList")
        tryCompare(list, "count", 5)
        window.sidebar.searchText = "COFFEE"
        compare(list.model.ids(), [ids.budget])
        window.sidebar.searchText = ""
        compare(list.count, 5)
    }

    function test_homeButtonAndPages() {
        const window = makeWindow()
        const home = child("homeButton")
        compare(home.enabled, false)
        window.content.openMeeting(ids.standup)
        compare(home.enabled, true)
        tryCompare(child("titleField"), "text", "Daily standup")
        mouseClick(home)
        compare(window.content.page, MainContent.Home)
        compare(home.enabled, false)
        // Deleting the meeting shown goes home, and the list loses its row.
        window.content.openMeeting(ids.design)
        window.content.deleteMeeting(ids.design)
        compare(window.content.page, MainContent.Home)
        tryCompare(child("meetingList"), "count", 4)
        // The settings page hides the idle strip.
        window.content.showSettings()
        tryCompare(child("recordingStrip"), "visible", false)
    }

    function test_folderPageShowsItsMeetingsAndCount() {
        const window = makeWindow()
        window.content.openFolder(ids.work)
        tryCompare(child("cardList"), "count", 2)
        tryCompare(child("folderCount"), "text", "2 meetings")
        window.content.openFolder(ids.ideas)
        tryCompare(child("emptyState"), "visible", true)
    }

    function test_newFolderSheetIgnoresABlankName() {
        const window = makeWindow()
        window.sidebar.newFolderRequested(ids.standup)
        const overlay = window.Overlay.overlay
        const name = findChild(overlay, "folderName")
        verify(name)
        name.text = "   "
        mouseClick(findChild(overlay, "createFolder"))
        compare(TestData.folderNames().length, 2)

        // The icons are offered as icons, not as their symbol names.
        mouseClick(findChild(overlay, "iconPicker"))
        const star = findChild(overlay, "iconChoice_star")
        tryCompare(star, "visible", true)
        compare(star.contentItem.children[0].symbol, "star")
        compare(star.text, "")
        tryVerify(() => { for (let p = name; p; p = p.parent) if (p.opacity < 1) return false; return true })
        verify(TestData.saveScreenshot(window, "new-folder-icons-light"))
        mouseClick(star)

        name.text = "  Research "
        mouseClick(findChild(overlay, "createFolder"))
        tryVerify(() => TestData.folderNames().indexOf("Research") >= 0)
        verify(TestData.folderOf(ids.standup).length > 0)
        const folders = window.sidebar.folders
        const row = TestData.folderNames().indexOf("Research")
        compare(folders.data(folders.index(row, 0), FolderListModel.IconRole), "star")
    }

    // Pixels of the accent in the window's picture around a control: a focus ring adds many.
    function accentPixels(window, control) {
        const image = grabImage(window.contentItem)
        const at = control.mapToItem(window.contentItem, 0, 0)
        let count = 0
        for (let y = Math.max(0, Math.floor(at.y) - 4); y < Math.min(image.height, at.y + control.height + 4); ++y)
            for (let x = Math.max(0, Math.floor(at.x) - 4); x < Math.min(image.width, at.x + control.width + 4); ++x) {
                const c = image.pixel(x, y)
                if (c.r - c.g > 0.2 && c.r - c.b > 0.25) // the accent, also blended at an edge
                    ++count
            }
        return count
    }

    // Each kind of control shows where the keyboard is, and only when it is there by keyboard.
    function test_focusRings_data() {
        return [
            { tag: "meeting row", name: "meetingRow" },
            { tag: "folder row", name: "folderRow" },
            { tag: "home row", name: "homeRow" },
            { tag: "new folder row", name: "newFolderButton" },
            { tag: "account footer", name: "accountFooter" },
            { tag: "meeting card", name: "meetingCard" },
            { tag: "pill button", name: "startButton" },
            { tag: "icon button", name: "settingsButton" },
            { tag: "switch", name: "soundSwitch", settings: true },
            { tag: "copy button", name: "copySummary", meeting: true },
        ]
    }
    function test_focusRings(data) {
        const window = makeWindow()
        if (data.settings)
            window.content.showSettings()
        if (data.meeting)
            window.content.openMeeting(ids.standup)
        waitForRendering(window.contentItem)
        const control = child(data.name)
        control.forceActiveFocus(Qt.MouseFocusReason)
        waitForRendering(window.contentItem)
        const clicked = accentPixels(window, control)
        child("searchField").forceActiveFocus()
        control.forceActiveFocus(Qt.TabFocusReason)
        verify(control.visualFocus)
        waitForRendering(window.contentItem)
        const tabbed = accentPixels(window, control)
        verify(tabbed > clicked + 10, "ring pixels: " + clicked + " then " + tabbed)
    }

    // Folder rows and meeting rows open their menu from the keyboard.
    function test_rowMenusFromTheKeyboard_data() {
        return [
            { tag: "meeting row, Menu key", row: "meetingRow", menu: "rowMenu", key: Qt.Key_Menu, modifiers: Qt.NoModifier },
            { tag: "meeting row, Shift+F10", row: "meetingRow", menu: "rowMenu", key: Qt.Key_F10, modifiers: Qt.ShiftModifier },
            { tag: "folder row, Menu key", row: "folderRow", menu: "folderMenu", key: Qt.Key_Menu, modifiers: Qt.NoModifier },
            { tag: "folder row, Shift+F10", row: "folderRow", menu: "folderMenu", key: Qt.Key_F10, modifiers: Qt.ShiftModifier },
            { tag: "F10 alone", row: "folderRow", menu: "folderMenu", key: Qt.Key_F10, modifiers: Qt.NoModifier, none: true },
        ]
    }
    function test_rowMenusFromTheKeyboard(data) {
        const window = makeWindow()
        tryCompare(child("meetingList"), "count", 5)
        const row = child(data.row)
        row.forceActiveFocus(Qt.TabFocusReason)
        keyClick(data.key, data.modifiers)
        const menu = findChild(row, data.menu) || findChild(window.sidebar, data.menu)
        verify(menu)
        if (data.none) {
            wait(50)
            compare(menu.opened, false)
            return
        }
        tryCompare(menu, "opened", true)
        menu.close()
    }

    // With no tray, the first close of the window says that Ondel goes on and how to quit.
    function test_closingWithoutATray() {
        App.hasTray = false
        const window = makeWindow()
        const notice = window.keepRunningNotice
        window.close()
        tryCompare(notice, "opened", true)
        verify(window.visible)
        verify(TestData.saveScreenshot(window, "no-tray-notice-light"))
        mouseClick(findChild(window.Overlay.overlay, "keepRunning"))
        tryCompare(window, "visible", false)
        // Said once: the next close just closes.
        window.show()
        window.close()
        compare(notice.opened, false)
        compare(window.visible, false)

        TestData.setTheme("dark")
        window.show()
        notice.open()
        tryCompare(notice, "opened", true)
        waitForRendering(window.contentItem)
        verify(TestData.saveScreenshot(window, "no-tray-notice-dark"))
        notice.close()
        App.hasTray = true
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
        const indicator = child("recoveryIndicator")
        verify(!indicator.visible)
        TestData.startRecovery()
        verify(App.recovery.running)
        verify(indicator.visible)
        verify(TestData.saveScreenshot(window, "recovery-" + data.tag))
        tryVerify(() => !App.recovery.running, 20000)
        verify(!indicator.visible)
        compare(child("meetingList").count, 300)
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
        // Focus rings: a sidebar row and the strip's button, as Tab leaves them.
        child("folderRow").forceActiveFocus(Qt.TabFocusReason)
        waitForRendering(window.contentItem)
        verify(TestData.saveScreenshot(window, "focus-row-" + data.tag))
        window.content.showHome()
        child("startButton").forceActiveFocus(Qt.TabFocusReason)
        waitForRendering(window.contentItem)
        verify(TestData.saveScreenshot(window, "focus-button-" + data.tag))
    }
}
