import QtQuick
import QtTest
import Ondel.App
import Ondel.Test

// What the tests over the real window share: a store emptied and the light theme before each
// case (a test's own init() calls fresh()), the window of the case, and its controls by name.
TestCase {
    id: windowTest
    when: windowShown

    property var window: null

    Component {
        id: windowComponent
        Main {}
    }

    function fresh() {
        TestData.clear()
        TestData.setTheme("light")
    }
    function init() {
        fresh()
    }
    // The window, on its home page or ("settings") on the settings page.
    function makeWindow(page) {
        window = createTemporaryObject(windowComponent, windowTest)
        verify(window)
        if (page === "settings")
            window.content.showSettings()
        waitForRendering(window.contentItem)
        return window
    }
    // The case fails when the window has no control of that name.
    function child(name) {
        const found = findChild(window.contentItem, name)
        verify(found, name)
        return found
    }
    function typeText(text) {
        for (const c of text)
            keyClick(c)
    }
}
