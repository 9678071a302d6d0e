import QtQuick
import QtQuick.Controls
import QtQuick.Layouts
import Ondel.App

// The first-run tour, in a window of its own: six steps, each of which can be passed over.
ApplicationWindow {
    id: root
    objectName: "onboardingWindow"
    readonly property alias flow: flow
    readonly property var steps: [
        { symbol: "waveform", title: "Meetings, remembered",
          message: "Record anywhere. Live transcript while you talk,\nbeautiful notes when you stop —\nVietnamese, English, or both at once." },
        { symbol: "mic", title: "Your side of the conversation",
          message: "Ondel listens through your microphone —\nso it can hear you." },
        { symbol: "speaker.wave.2", title: "Everyone else, too",
          message: "System audio lets Ondel hear the other side\nof your calls — no bot ever joins a meeting." },
        { symbol: "person.crop.circle", title: "Sign in",
          message: "One tap with Google — or your email.\nTranscription is free every month, no API key." },
        { symbol: "", title: "Pick your light",
          message: "Applies instantly — change it any time in Settings." },
        { symbol: "checkmark", title: "You're all set",
          message: "Try it now — play any video and press Record.\nOndel hears your computer." },
    ]

    title: "Welcome to Ondel"
    width: 440
    height: 500
    minimumWidth: width
    maximumWidth: width
    minimumHeight: height
    maximumHeight: height
    // Titled and closable; neither resized nor minimised.
    flags: Qt.Window | Qt.CustomizeWindowHint | Qt.WindowTitleHint | Qt.WindowCloseButtonHint
    transientParent: null
    color: Ondel.background
    font: Ondel.body

    palette {
        window: Ondel.background
        windowText: Ondel.ink
        base: Ondel.raised
        alternateBase: Ondel.sidebar
        text: Ondel.ink
        button: Ondel.dark ? "#3a3a3c" : "#f4f4f2"
        buttonText: Ondel.ink
        brightText: "white"
        highlight: Ondel.accent
        highlightedText: "white"
        placeholderText: Ondel.tertiaryInk
        light: Ondel.dark ? "#48484a" : "#ffffff"
        midlight: Ondel.dark ? "#3a3a3c" : "#ecebe8"
        mid: Ondel.dark ? "#2c2c2e" : "#d8d7d3"
        dark: Ondel.dark ? "#111112" : "#a9a8a4"
        shadow: "#000000"
    }

    Onboarding {
        id: flow
        onFinished: root.close()
        property int shown: Onboarding.Welcome
        // The step slides in from the side it comes from.
        onStepChanged: {
            slide.from = step > shown ? 28 : -28
            shown = step
            stepAnimation.restart()
        }
    }
    Component.onCompleted: {
        x = Math.round(screen.virtualX + (screen.width - width) / 2)
        y = Math.round(screen.virtualY + (screen.height - height) / 2)
        flow.start()
    }
    // Closed by the user or by the last step: the window goes with its state.
    onClosing: {
        flow.stop()
        root.destroy()
    }

    ProgressDots {
        objectName: "progressDots"
        anchors.horizontalCenter: parent.horizontalCenter
        y: 24
        count: flow.stepCount
        current: flow.step
    }

    Item {
        id: stepArea
        anchors.fill: parent
        anchors.topMargin: 56
        anchors.bottomMargin: 56
        anchors.leftMargin: 40
        anchors.rightMargin: 40

        StepLayout {
            id: stepContent
            objectName: "stepContent"
            width: parent.width
            anchors.verticalCenter: parent.verticalCenter
            anchors.verticalCenterOffset: -8
            symbol: root.steps[flow.step].symbol
            title: root.steps[flow.step].title
            message: root.steps[flow.step].message

            Loader {
                objectName: "stepFooter"
                Layout.fillWidth: true
                // A focus scope: "Get started" has the keyboard when the tour opens.
                focus: true
                sourceComponent: [welcomeFooter, microphoneFooter, systemAudioFooter, signInFooter, themeFooter, readyFooter][flow.step]
            }
        }
        ParallelAnimation {
            id: stepAnimation
            NumberAnimation { id: slide; target: stepContent; property: "x"; to: 0; duration: 300; easing.type: Easing.InOutQuad }
            NumberAnimation { target: stepContent; property: "opacity"; from: 0; to: 1; duration: 300; easing.type: Easing.InOutQuad }
        }
    }

    RowLayout {
        anchors.left: parent.left
        anchors.right: parent.right
        anchors.bottom: parent.bottom
        anchors.margins: 16
        TextButton {
            objectName: "backButton"
            text: "Back"
            tint: Ondel.secondaryInk
            visible: flow.step !== Onboarding.Welcome
            onClicked: flow.back()
        }
        Item { Layout.fillWidth: true; implicitHeight: 28 }
        TextButton {
            objectName: "skipButton"
            text: "Skip"
            tint: Ondel.secondaryInk
            visible: flow.step !== Onboarding.Welcome && flow.step !== Onboarding.Ready
            onClicked: flow.advance()
        }
    }

    // A tick and its words, for a step that is done.
    component DoneLabel: Row {
        property alias text: doneText.text
        spacing: 6
        Accessible.role: Accessible.StaticText
        Accessible.name: doneText.text
        Icon { symbol: "checkmark.circle.fill"; size: 16; color: Ondel.accent; anchors.verticalCenter: parent.verticalCenter }
        Text { id: doneText; font: Ondel.font(13, Font.Medium); color: Ondel.ink; anchors.verticalCenter: parent.verticalCenter }
    }
    component Note: Text {
        Layout.fillWidth: true
        horizontalAlignment: Text.AlignHCenter
        font: Ondel.font(12)
        lineHeight: 1.15
        color: Ondel.secondaryInk
        wrapMode: Text.Wrap
    }

    Component {
        id: welcomeFooter
        ColumnLayout {
            PillButton {
                objectName: "getStartedButton"
                Layout.alignment: Qt.AlignHCenter
                prominent: true
                focus: true
                text: "Get started"
                onClicked: flow.getStarted()
            }
        }
    }
    Component {
        id: microphoneFooter
        ColumnLayout {
            spacing: 10
            DoneLabel {
                objectName: "micGranted"
                Layout.alignment: Qt.AlignHCenter
                visible: flow.micGranted
                text: "Granted"
            }
            PillButton {
                objectName: "allowMicButton"
                Layout.alignment: Qt.AlignHCenter
                visible: !flow.micGranted
                prominent: true
                text: "Allow microphone"
                onClicked: flow.allowMicrophone()
            }
            Note {
                objectName: "micDeniedText"
                visible: flow.micDenied
                text: "No microphone is connected to this computer."
            }
            PillButton {
                objectName: "openSoundSettingsButton"
                Layout.alignment: Qt.AlignHCenter
                visible: flow.micDenied
                text: "Open Sound Settings"
                onClicked: App.openSoundSettings()
            }
        }
    }
    Component {
        id: systemAudioFooter
        ColumnLayout {
            spacing: 10
            DoneLabel {
                objectName: "systemAudioReady"
                Layout.alignment: Qt.AlignHCenter
                visible: flow.systemAudioDone
                text: "Ready"
            }
            PillButton {
                objectName: "allowSystemAudioButton"
                Layout.alignment: Qt.AlignHCenter
                visible: !flow.systemAudioDone
                prominent: true
                text: "Allow system audio"
                onClicked: flow.allowSystemAudio()
            }
            Note {
                objectName: "systemAudioFailedText"
                visible: flow.systemAudioFailed
                text: "Couldn't start system-audio capture — you can set it up later in your desktop's sound settings. Recording will use the mic only until then."
            }
        }
    }
    Component {
        id: signInFooter
        ColumnLayout {
            spacing: 8
            // Signed in (also on coming back to the step): who, and the way on.
            DoneLabel {
                objectName: "signedInLabel"
                Layout.alignment: Qt.AlignHCenter
                visible: App.account.isSignedIn
                text: App.account.displayEmail.length > 0 ? App.account.displayEmail : "Signed in"
            }
            PillButton {
                objectName: "continueButton"
                Layout.alignment: Qt.AlignHCenter
                visible: App.account.isSignedIn
                prominent: true
                text: "Continue"
                onClicked: flow.advance()
            }
            AccountSectionView {
                objectName: "compactAccount"
                Layout.fillWidth: true
                visible: !App.account.isSignedIn && !flow.showByoKey
                compact: true
            }
            TextButton {
                objectName: "useOwnKeyButton"
                Layout.alignment: Qt.AlignHCenter
                visible: !App.account.isSignedIn && !flow.showByoKey
                text: "Use my own key instead"
                tint: Ondel.secondaryInk
                onClicked: flow.useOwnKey()
            }
            RowLayout {
                Layout.fillWidth: true
                visible: !App.account.isSignedIn && flow.showByoKey
                spacing: 8
                TextField {
                    id: keyField
                    objectName: "byoKeyField"
                    Accessible.name: "Your own Vrel key"
                    Layout.fillWidth: true
                    echoMode: TextInput.Password
                    placeholderText: "vr-..."
                    text: flow.byoKeyDraft
                    onTextEdited: flow.byoKeyDraft = text
                    onAccepted: flow.applyKey()
                    onVisibleChanged: if (visible) forceActiveFocus()
                }
                PillButton {
                    objectName: "useKeyButton"
                    prominent: true
                    text: "Use this key"
                    enabled: flow.canApplyKey
                    onClicked: flow.applyKey()
                }
            }
            TextButton {
                objectName: "backToSignInButton"
                Layout.alignment: Qt.AlignHCenter
                visible: !App.account.isSignedIn && flow.showByoKey
                text: "Back to sign in"
                tint: Ondel.secondaryInk
                onClicked: flow.backToSignIn()
            }
        }
    }
    Component {
        id: themeFooter
        Item {
            implicitHeight: tiles.implicitHeight
            readonly property string current: App.settings.appTheme === "light" || App.settings.appTheme === "dark"
                                              ? App.settings.appTheme : "system"
            Row {
                id: tiles
                objectName: "themeTiles"
                anchors.horizontalCenter: parent.horizontalCenter
                spacing: 14
                Repeater {
                    model: [{ name: "System", value: "system" }, { name: "Light", value: "light" }, { name: "Dark", value: "dark" }]
                    ThemeTile {
                        required property var modelData
                        objectName: "themeTile-" + modelData.value
                        text: modelData.name
                        value: modelData.value
                        selected: tiles.parent.current === value
                        onClicked: flow.chooseTheme(value)
                    }
                }
            }
        }
    }
    Component {
        id: readyFooter
        ColumnLayout {
            spacing: 6
            PillButton {
                objectName: "startUsingButton"
                Layout.alignment: Qt.AlignHCenter
                prominent: true
                text: "Start using Ondel"
                onClicked: flow.finish()
            }
            TextButton {
                objectName: "openArchiveButton"
                Layout.alignment: Qt.AlignHCenter
                text: "Open Archive Folder"
                tint: Ondel.secondaryInk
                onClicked: flow.openArchiveFolder()
            }
        }
    }
}
