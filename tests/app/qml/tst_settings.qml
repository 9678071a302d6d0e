import QtQuick
import QtQuick.Controls
import QtTest
import Ondel.App
import Ondel.Test

// The settings page over the real account, whose cloud and gateway are a local server, with
// time on the fake clock; screenshots in both themes.
WindowTestCase {
    id: test
    name: "Settings"

    function init() {
        fresh()
        TestData.holdBrowser(false)
        TestData.setGatewayBalance(null)
        TestData.setUsage(12, 60, false)
        App.account.signOut()
        App.account.useDifferentEmail()
        App.account.byoKey = ""
        App.settings.customDictionary = []
    }

    // The screens tested after these start signed out, as a first run does.
    function cleanupTestCase() {
        init()
    }

    function type(field, text) {
        field.forceActiveFocus()
        typeText(text)
    }

    // Up to the code view for an address, through the form.
    function sendCode(address) {
        type(child("emailField"), address)
        mouseClick(child("sendLinkButton"))
        tryCompare(App.account, "flowState", "codeSent")
        return child("codeField")
    }

    function signInByCode() {
        App.account.sendSignInEmail("ana@example.com")
        tryCompare(App.account, "flowState", "codeSent")
        App.account.verifyCode("123456")
        tryVerify(() => App.account.hasSession)
    }

    function test_emailIsPlausibleFromSixCharacters_data() {
        return [
            { tag: "six characters", text: "a@b.co", plausible: true },
            { tag: "five characters", text: "a@b.c", plausible: false },
            { tag: "five once trimmed", text: "  a@b.c  ", plausible: false },
            { tag: "no at sign", text: "ana.example.com", plausible: false },
            { tag: "no dot", text: "ana@example", plausible: false },
            { tag: "blanks around", text: " Ana@Example.com ", plausible: true },
        ]
    }
    function test_emailIsPlausibleFromSixCharacters(data) {
        makeWindow("settings")
        type(child("emailField"), data.text)
        compare(child("sendLinkButton").enabled, data.plausible)
        // Return does what the button does, and no more.
        keyClick(Qt.Key_Return)
        if (data.plausible) {
            tryCompare(App.account, "flowState", "codeSent")
            compare(App.account.flowEmail, data.text.trim().toLowerCase())
        } else {
            compare(App.account.flowState, "idle")
        }
    }

    function test_codeFieldKeepsSixNumberCharacters_data() {
        return [
            { tag: "pasted with blanks", paste: "123 456 789", code: "123456" },
            { tag: "pasted with letters and dashes", paste: "12-ab-34", code: "1234" },
            { tag: "typed past six", typed: "1234567", code: "123456" },
            { tag: "a letter typed after digits", typed: "12x", code: "12" },
        ]
    }
    function test_codeFieldKeepsSixNumberCharacters(data) {
        makeWindow("settings")
        const field = sendCode("ana@example.com")
        compare(field.activeFocus, true)
        if (data.paste !== undefined) {
            TestData.setClipboardText(data.paste)
            keySequence(StandardKey.Paste)
        } else {
            type(field, data.typed)
        }
        compare(field.text, data.code)
        compare(child("settingsPage").accountSection.form.code, data.code)
        compare(child("verifyButton").enabled, data.code.length === 6)
    }

    function test_fewerThanSixDigitsNeverReachTheServer() {
        makeWindow("settings")
        const verifies = TestData.cloudRequestCount("/v1/auth/verify")
        const field = sendCode("ana@example.com")
        type(field, "12345")
        mouseClick(child("verifyButton"))
        keyClick(Qt.Key_Return)
        compare(App.account.flowState, "codeSent")

        // A wrong code of six: the server's words, and the code view again for another try.
        type(field, "9")
        keyClick(Qt.Key_Return)
        tryCompare(child("flowError"), "text", "That code isn't right.")
        compare(TestData.cloudRequestCount("/v1/auth/verify"), verifies + 1)
        compare(App.account.flowState, "codeSent")

        // A different address goes back to the form with it, and without code or error.
        mouseClick(child("differentEmailButton"))
        compare(App.account.flowState, "idle")
        compare(child("flowError").visible, false)
        compare(child("emailField").text, "ana@example.com")
        const again = sendCode("")
        compare(again.text, "")
        type(again, "123456")
        mouseClick(child("verifyButton"))
        tryVerify(() => App.account.hasSession)
        compare(TestData.cloudRequestCount("/v1/auth/verify"), verifies + 2)
    }

    function test_resendCountsDownOnTheClock() {
        makeWindow("settings")
        sendCode("ana@example.com")
        const resend = child("resendButton")
        const sent = TestData.cloudRequestCount("/v1/auth/request")
        compare(resend.text, "Resend (60s)")
        compare(resend.enabled, false)
        TestData.advance(1000)
        compare(resend.text, "Resend (59s)")
        TestData.advance(58000)
        compare(resend.text, "Resend (1s)")
        mouseClick(resend)
        compare(TestData.cloudRequestCount("/v1/auth/request"), sent)
        TestData.advance(1000)
        compare(resend.text, "Resend")
        compare(resend.enabled, true)

        // The same address again, and a new minute to wait.
        mouseClick(resend)
        tryCompare(App.account, "flowState", "codeSent")
        compare(TestData.cloudRequestCount("/v1/auth/request"), sent + 1)
        compare(App.account.flowEmail, "ana@example.com")
        compare(child("resendButton").text, "Resend (60s)")
    }

    function test_signedInLines_data() {
        return [
            { tag: "gateway with a balance", gateway: true, balance: 12.5,
              line: "Vrel balance: $12.50 — pay-as-you-go", bar: false, footer: "Vrel · $12.50" },
            { tag: "gateway without a balance", gateway: true, balance: null,
              line: "Using your Vrel account credit", bar: false, footer: "Vrel account" },
            { tag: "gateway beats the account's allowance", gateway: true, session: true, balance: 3,
              line: "Vrel balance: $3.00 — pay-as-you-go", bar: false, footer: "Vrel · $3.00" },
            { tag: "allowance", session: true, used: 12.7, quota: 60,
              line: "12 of 60 minutes used this month", bar: true, fraction: 12.7 / 60, accent: false, footer: "" },
            { tag: "allowance at 90%", session: true, used: 54, quota: 60,
              line: "54 of 60 minutes used this month", bar: true, fraction: 0.9, accent: true, footer: "" },
            { tag: "allowance used beyond", session: true, used: 75, quota: 60,
              line: "75 of 60 minutes used this month", bar: true, fraction: 1, accent: true, footer: "" },
            { tag: "allowance of 0", session: true, used: 5, quota: 0,
              line: "5 of 0 minutes used this month", bar: true, fraction: 0, accent: false, footer: "" },
            { tag: "unlimited", session: true, used: 500, quota: 60, unlimited: true,
              line: "Unlimited minutes", bar: false, footer: "" },
        ]
    }
    // The account signs in on another allowance: the page refreshes the record when it appears.
    function test_signedInLines(data) {
        TestData.setGatewayBalance(data.balance === undefined ? null : data.balance)
        if (data.session) {
            TestData.setUsage(1, 1000, false)
            signInByCode()
            tryVerify(() => App.account.hasAccount)
        }
        TestData.setUsage(data.used || 0, data.quota || 0, !!data.unlimited)
        makeWindow("settings")
        if (data.gateway) {
            if (data.session)
                App.account.signInWithVrel()
            else
                mouseClick(child("browserSignInButton"))
            tryVerify(() => App.account.hasVrelKey)
        }
        const line = child("usageLine")
        tryCompare(line, "text", data.line)
        compare(child("allowance").visible, data.bar)
        compare(child("vrelBadge").visible, !!data.gateway)
        compare(child("accountTitle").text, data.gateway ? "gate@example.com" : "ana@example.com")
        if (data.bar) {
            const fill = child("allowanceFill")
            fuzzyCompare(fill.width / fill.parent.width, data.fraction, 0.001)
            compare(String(line.color) === String(Ondel.accent), data.accent)
        }
        compare(child("footerDetail").text, data.footer)
        compare(child("footerTitle").text, data.gateway ? "gate@example.com" : "ana@example.com")
    }

    function test_signOutAsksFirst() {
        signInByCode()
        const told = TestData.cloudRequestCount("/v1/auth/signout")
        const window = makeWindow("settings")
        const confirm = child("settingsPage").accountSection.signOutConfirm
        mouseClick(child("signOutButton"))
        tryCompare(confirm, "opened", true)
        compare(confirm.title, "Sign out of Ondel?")
        mouseClick(findChild(window.Overlay.overlay, "cancelSignOut"))
        tryCompare(confirm, "visible", false)
        verify(App.account.isSignedIn)

        mouseClick(child("signOutButton"))
        tryCompare(confirm, "opened", true)
        mouseClick(findChild(window.Overlay.overlay, "confirmSignOut"))
        tryCompare(confirm, "visible", false)
        verify(!App.account.isSignedIn)
        tryVerify(() => TestData.cloudRequestCount("/v1/auth/signout") === told + 1)
        verify(child("emailField"))
    }

    function test_browserSignInCanBeLeft() {
        TestData.holdBrowser(true)
        makeWindow("settings")
        const button = child("browserSignInButton")
        mouseClick(button)
        compare(button.text, "Opening sign-in…")
        compare(button.enabled, false)
        mouseClick(child("stopWaitingButton"))
        compare(button.text, "Continue with Google")
        compare(button.enabled, true)
        // Giving up is no failure.
        compare(child("flowError").visible, false)
    }

    function test_ownKeyLineChangesAtTheFirstNonBlankCharacter() {
        makeWindow("settings")
        const field = child("ownKeyField")
        const line = child("ownKeyExplanation")
        const optional = "Optional. With a key, calls go straight to Vrel instead of your Ondel account."
        compare(line.text, optional)
        type(field, "  ")
        compare(line.text, optional)
        compare(App.account.hasByoKey, false)
        type(field, "v")
        compare(line.text, "Using your own Vrel key — the free allowance isn't used.")
        compare(App.account.byoKey, "  v")
        keyClick(Qt.Key_Backspace)
        compare(line.text, optional)
    }

    function test_dictionaryAddsTrimmedWordsOnly() {
        makeWindow("settings")
        const field = child("newWordField")
        type(field, "   ")
        mouseClick(child("addWordButton"))
        compare(App.settings.customDictionary, [])
        compare(field.text, "   ")

        type(field, "Acme ")
        keyClick(Qt.Key_Return)
        compare(App.settings.customDictionary, ["Acme"])
        compare(field.text, "")
        type(field, "Kubernetes")
        mouseClick(child("addWordButton"))
        compare(App.settings.customDictionary, ["Acme", "Kubernetes"])

        const chips = child("wordChips")
        tryCompare(chips, "visible", true)
        mouseClick(findChild(chips.children[0], "removeWordButton"))
        compare(App.settings.customDictionary, ["Kubernetes"])
    }

    function test_footerAndBannerFollowTheAccount() {
        const window = makeWindow()
        const banner = child("fixItBanner")
        compare(child("footerTitle").text, "Sign in")
        compare(child("footerDetail").text, "Free — no account yet")
        tryCompare(banner, "visible", true)
        // The banner's way to sign in is the settings page, whose first card is the account.
        mouseClick(child("fixItButton"))
        compare(window.content.page, MainContent.Settings)
        compare(banner.visible, false)

        // A key of one's own is enough to work, without signing in.
        App.account.byoKey = "vr-own"
        window.content.showHome()
        compare(banner.visible, false)
        compare(child("footerTitle").text, "Sign in")
        App.account.byoKey = ""
        compare(banner.visible, true)

        signInByCode()
        compare(banner.visible, false)
        tryCompare(child("footerTitle"), "text", "ana@example.com")
        compare(child("footerDetail").visible, false)
    }

    // Tab walks down the page, which keeps each control it reaches in view.
    function test_tabKeepsTheFocusedControlInView() {
        const window = makeWindow("settings")
        const page = child("settingsPage")
        verify(page.contentHeight > page.height)
        child("browserSignInButton").forceActiveFocus(Qt.TabFocusReason)
        for (let i = 0; i < 30 && window.activeFocusItem.objectName !== "ownKeyField"; ++i) {
            keyClick(Qt.Key_Tab)
            const item = window.activeFocusItem
            const y = item.mapToItem(page, 0, 0).y
            verify(y >= 0 && y + item.height <= page.height, item.objectName + " at " + y)
        }
        compare(window.activeFocusItem.objectName, "ownKeyField")
        verify(page.contentY > 0)
        // And back up.
        child("emailField").forceActiveFocus(Qt.BacktabFocusReason)
        verify(child("emailField").mapToItem(page, 0, 0).y >= 0)
    }

    // Runs last by its name: the keyring stays gone, and later screens keep their secrets in the file.
    function test_withoutAKeyringTheKeysAreKeptInAFile_data() {
        return [{ tag: "light" }, { tag: "dark" }]
    }
    function test_withoutAKeyringTheKeysAreKeptInAFile(data) {
        TestData.setTheme(data.tag)
        const window = makeWindow("settings")
        const note = child("keysInFileNote")
        compare(note.visible, App.account.secretsInFile)
        TestData.stopKeyring()
        App.account.byoKey = "vr-own"
        tryCompare(note, "visible", true)
        compare(note.text, "Your keys are kept in a file on this computer because no keyring is available.")
        tryCompare(child("recordingStrip"), "visible", false)
        const page = child("settingsPage")
        page.contentY = page.contentHeight - page.height
        waitForRendering(window.contentItem)
        verify(TestData.saveScreenshot(window, "settings-keys-in-file-" + data.tag))
    }

    // During a recording that hears no microphone, the banner says why, whatever else it would say.
    function test_bannerSaysWhyMeIsSilent() {
        const window = makeWindow()
        const banner = child("fixItBanner")
        verify(TestData.recordMicFrom("speakers.monitor"))
        tryVerify(() => App.micNotice.indexOf("not a microphone") > 0, 5000)
        tryCompare(banner, "visible", true)
        compare(child("fixItButton").text, "Open Sound Settings")
        waitForRendering(window.contentItem)
        verify(TestData.saveScreenshot(window, "banner-mic-is-a-monitor"))
        verify(TestData.recordMicFrom(""))
        tryCompare(App, "micNotice", "")
    }

    function test_screenshots_data() {
        return [{ tag: "light" }, { tag: "dark" }]
    }
    function test_screenshots(data) {
        TestData.setTheme(data.tag)
        const window = makeWindow("settings")
        // The idle strip leaves the settings page; a grab draws the window as it stands.
        tryCompare(child("recordingStrip"), "visible", false)
        verify(TestData.saveScreenshot(window, "settings-signed-out-" + data.tag))

        const code = sendCode("ana@example.com")
        type(code, "12")
        verify(TestData.saveScreenshot(window, "settings-code-sent-" + data.tag))

        TestData.setUsage(41, 60, false)
        type(code, "3456")
        keyClick(Qt.Key_Return)
        tryVerify(() => App.account.hasAccount)
        tryCompare(child("usageLine"), "text", "41 of 60 minutes used this month")
        App.settings.customDictionary = ["Acme", "Kubernetes", "Nguyễn", "Tarnwyk"]
        verify(TestData.saveScreenshot(window, "settings-signed-in-" + data.tag))
        const page = child("settingsPage")
        page.contentY = page.contentHeight - page.height
        verify(TestData.saveScreenshot(window, "settings-lower-" + data.tag))
    }
}
