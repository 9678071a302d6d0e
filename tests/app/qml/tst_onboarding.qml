import QtQuick
import QtQuick.Controls
import QtTest
import Ondel.App
import Ondel.Test

// The first-run tour over the real account, the test's own sound server and the fake clock:
// the moves on after a success, the own key, the launch rule; screenshots in both themes.
TestCase {
    id: test
    name: "Onboarding"
    when: windowShown

    Component {
        id: tourComponent
        OnboardingView {}
    }
    Component {
        id: mainComponent
        Main {}
    }

    function init() {
        TestData.setTheme("light")
        App.account.signOut()
        App.account.useDifferentEmail()
        App.account.byoKey = ""
        App.settings.onboardingCompleted = false
        verify(TestData.connectSpeakers(true))
    }

    function cleanupTestCase() {
        init()
        App.settings.onboardingCompleted = true
    }

    function makeTour() {
        const tour = createTemporaryObject(tourComponent, test)
        verify(tour)
        tour.show()
        waitForRendering(tour.contentItem)
        // The first reading of the microphone is in.
        tryVerify(() => tour.flow.micGranted || tour.flow.micDenied, 5000)
        return tour
    }

    function child(tour, name) {
        const item = findChild(tour.contentItem, name)
        verify(item, name)
        return item
    }

    function goTo(tour, step) {
        while (tour.flow.step < step)
            tour.flow.advance()
        compare(tour.flow.step, step)
        // The buttons shown for the step are laid out before anything is clicked.
        waitForRendering(tour.contentItem)
    }

    // Once the step has slid in.
    function shoot(tour, name) {
        tryCompare(child(tour, "stepContent"), "opacity", 1)
        waitForRendering(tour.contentItem)
        verify(TestData.saveScreenshot(tour, name))
    }

    function type(field, text) {
        field.forceActiveFocus()
        for (const c of text)
            keyClick(c)
    }

    // Each success moves on 0.6 s later, on the clock; nothing cancels that, so a skip in the
    // meantime makes it two steps. The poll notices a microphone plugged in within a second.
    function test_movesOnABeatAfterASuccess_data() {
        return [
            { tag: "system audio probe", at: Onboarding.SystemAudio, trigger: "probe", after: Onboarding.SignIn },
            { tag: "system audio probe, then skip", at: Onboarding.SystemAudio, trigger: "probe", skip: true, after: Onboarding.Theme },
            { tag: "sign-in by link during the step", at: Onboarding.SignIn, trigger: "link", after: Onboarding.Theme },
            { tag: "sign-in by link, then skip", at: Onboarding.SignIn, trigger: "link", skip: true, after: Onboarding.Ready },
            { tag: "microphone plugged in on its step", at: Onboarding.Microphone, trigger: "mic", after: Onboarding.SystemAudio },
            { tag: "microphone plugged in on a later step", at: Onboarding.SignIn, trigger: "mic", after: Onboarding.SignIn },
            { tag: "allow microphone", at: Onboarding.Microphone, trigger: "allowMic", after: Onboarding.SystemAudio },
        ]
    }
    function test_movesOnABeatAfterASuccess(data) {
        if (data.trigger === "mic" || data.trigger === "allowMic")
            verify(TestData.connectMicrophone(false))
        const tour = makeTour()
        const flow = tour.flow
        goTo(tour, data.at)
        if (data.trigger === "probe") {
            mouseClick(child(tour, "allowSystemAudioButton"))
            compare(flow.systemAudioDone, true)
            tryCompare(child(tour, "systemAudioReady"), "visible", true)
        } else if (data.trigger === "link") {
            TestData.openLink("ondel://auth?token=link-of-the-test")
            tryVerify(() => App.account.isSignedIn, 5000)
            tryCompare(child(tour, "signedInLabel"), "text", "ana@example.com")
        } else if (data.trigger === "allowMic") {
            tryCompare(flow, "micDenied", true, 5000)
            verify(TestData.connectMicrophone(true))
            mouseClick(child(tour, "allowMicButton"))
            tryCompare(flow, "micGranted", true, 5000)
        } else {
            tryCompare(flow, "micDenied", true, 5000)
            verify(TestData.connectMicrophone(true))
            TestData.advance(999)
            wait(50)
            compare(flow.micGranted, false)
            TestData.advance(1)
            tryCompare(flow, "micGranted", true, 5000)
            compare(flow.micDenied, false)
        }
        compare(flow.step, data.at)
        if (data.skip)
            mouseClick(child(tour, "skipButton"))
        TestData.advance(599)
        compare(flow.step, data.skip ? data.at + 1 : data.at)
        TestData.advance(1)
        compare(flow.step, data.after)
        TestData.advance(5000)
        compare(flow.step, data.after)
    }

    function test_withoutAMicrophoneAllowShowsTheDeniedText() {
        verify(TestData.connectMicrophone(false))
        const tour = makeTour()
        goTo(tour, Onboarding.Microphone)
        tryCompare(child(tour, "micDeniedText"), "visible", true)
        compare(child(tour, "allowMicButton").visible, true)
        compare(child(tour, "openSoundSettingsButton").visible, true)
        mouseClick(child(tour, "allowMicButton"))
        TestData.advance(600)
        wait(100)
        compare(tour.flow.micDenied, true)
        compare(tour.flow.step, Onboarding.Microphone)
        shoot(tour, "onboarding-microphone-denied")
        verify(TestData.connectMicrophone(true))
    }

    function test_failedProbeStaysOnTheStep() {
        const tour = makeTour()
        goTo(tour, Onboarding.SystemAudio)
        verify(TestData.connectSpeakers(false))
        mouseClick(child(tour, "allowSystemAudioButton"))
        compare(tour.flow.systemAudioFailed, true)
        compare(tour.flow.systemAudioDone, false)
        tryCompare(child(tour, "systemAudioFailedText"), "visible", true)
        TestData.advance(2000)
        compare(tour.flow.step, Onboarding.SystemAudio)
        shoot(tour, "onboarding-system-audio-failed")
        // Plugged back in, the next try succeeds.
        verify(TestData.connectSpeakers(true))
        mouseClick(child(tour, "allowSystemAudioButton"))
        compare(tour.flow.systemAudioFailed, false)
        compare(tour.flow.systemAudioDone, true)
    }

    function test_backFromSignInKeepsTheSignedInLabel() {
        TestData.openLink("ondel://auth?token=link-of-the-test")
        tryVerify(() => App.account.isSignedIn, 5000)
        const tour = makeTour()
        goTo(tour, Onboarding.SignIn)
        mouseClick(child(tour, "backButton"))
        compare(tour.flow.step, Onboarding.SystemAudio)
        mouseClick(child(tour, "skipButton"))
        compare(tour.flow.step, Onboarding.SignIn)
        compare(child(tour, "signedInLabel").visible, true)
        compare(child(tour, "compactAccount").visible, false)
        mouseClick(child(tour, "continueButton"))
        compare(tour.flow.step, Onboarding.Theme)
    }

    function test_ownKeyNeedsMoreThanBlanks_data() {
        return [
            { tag: "blanks", typed: "   ", applied: false },
            { tag: "empty", typed: "", applied: false },
            { tag: "a key", typed: "vr-own-key", applied: true },
        ]
    }
    function test_ownKeyNeedsMoreThanBlanks(data) {
        const tour = makeTour()
        goTo(tour, Onboarding.SignIn)
        mouseClick(child(tour, "useOwnKeyButton"))
        const field = child(tour, "byoKeyField")
        tryCompare(field, "visible", true)
        type(field, data.typed)
        compare(child(tour, "useKeyButton").enabled, data.applied)
        mouseClick(child(tour, "useKeyButton"))
        keyClick(Qt.Key_Return)
        compare(App.account.byoKey, data.applied ? data.typed : "")
        compare(tour.flow.step, data.applied ? Onboarding.Theme : Onboarding.SignIn)
        if (!data.applied) {
            mouseClick(child(tour, "backToSignInButton"))
            compare(child(tour, "compactAccount").visible, true)
        }
    }

    function test_themeTilesWriteTheSetting() {
        const tour = makeTour()
        goTo(tour, Onboarding.Theme)
        for (const word of ["dark", "system", "light"]) {
            mouseClick(child(tour, "themeTile-" + word))
            compare(App.settings.appTheme, word)
            compare(child(tour, "themeTile-" + word).selected, true)
        }
        compare(child(tour, "themeTile-dark").selected, false)
    }

    // The launch opens the tour until "Get started"; closing the window after it counts as done.
    // "Welcome to Ondel" in the account menu opens it again any time.
    function test_getStartedCountsAsDoneEvenWhenClosed() {
        const main = createTemporaryObject(mainComponent, test)
        verify(main)
        waitForRendering(main.contentItem)
        verify(App.showOnboardingIfNeeded())
        const tour = main.onboardingWindow
        verify(tour)
        tryCompare(tour, "visible", true)
        tryCompare(tour, "active", true)
        compare(tour.title, "Welcome to Ondel")
        compare(tour.width, 440)
        compare(tour.height, 500)
        waitForRendering(tour.contentItem)
        keyClick(Qt.Key_Space) // "Get started" has the keyboard
        compare(tour.flow.step, Onboarding.Microphone)
        verify(App.settings.onboardingCompleted)
        tour.close()
        tryVerify(() => main.onboardingWindow === null)
        verify(!App.showOnboardingIfNeeded())

        const footer = findChild(main.contentItem, "accountFooter")
        mouseClick(footer)
        const item = findChild(main.Overlay.overlay, "welcomeItem")
        verify(item)
        tryCompare(item, "visible", true)
        mouseClick(item)
        const again = main.onboardingWindow
        verify(again)
        tryCompare(again, "visible", true)
        compare(again.flow.step, Onboarding.Welcome)
        // "Start using Ondel" closes it.
        goTo(again, Onboarding.Ready)
        waitForRendering(again.contentItem)
        mouseClick(findChild(again.contentItem, "startUsingButton"))
        tryVerify(() => main.onboardingWindow === null)
    }

    // Tab reaches every control of each step, each with a name for screen readers.
    function test_everyControlIsNamedAndReachedByTab() {
        const tour = makeTour()
        tryCompare(tour, "active", true)
        const reached = []
        for (let step = 0; step < tour.flow.stepCount; ++step) {
            goTo(tour, step)
            for (let i = 0; i < 12; ++i) {
                keyClick(Qt.Key_Tab)
                const item = tour.activeFocusItem
                verify(item)
                const name = item.Accessible.name
                verify(name && name.length > 0, item.objectName + " on step " + step)
                if (reached.indexOf(name) < 0)
                    reached.push(name)
            }
        }
        for (const name of ["Get started", "Skip", "Back", "Allow system audio", "Continue with Google", "Email address",
                            "Use my own key instead", "System", "Light", "Dark", "Start using Ondel", "Open Archive Folder"])
            verify(reached.indexOf(name) >= 0, name + " in " + reached)
    }

    function test_screenshots_data() {
        return [{ tag: "light" }, { tag: "dark" }]
    }
    function test_screenshots(data) {
        TestData.setTheme(data.tag)
        const tour = makeTour()
        const names = ["welcome", "microphone", "system-audio", "sign-in", "theme", "ready"]
        for (let step = 0; step < names.length; ++step) {
            goTo(tour, step)
            compare(child(tour, "stepTitle").text, tour.steps[step].title)
            compare(child(tour, "backButton").visible, step !== Onboarding.Welcome)
            compare(child(tour, "skipButton").visible, step !== Onboarding.Welcome && step !== Onboarding.Ready)
            shoot(tour, "onboarding-" + step + "-" + names[step] + "-" + data.tag)
        }
        tour.flow.back()
        tour.flow.back()
        compare(tour.flow.step, Onboarding.SignIn)
        // The own key's field, and the code sent to an address.
        mouseClick(child(tour, "useOwnKeyButton"))
        shoot(tour, "onboarding-own-key-" + data.tag)
        mouseClick(child(tour, "backToSignInButton"))
        App.account.sendSignInEmail("ana@example.com")
        tryCompare(App.account, "flowState", "codeSent")
        shoot(tour, "onboarding-code-sent-" + data.tag)
    }
}
