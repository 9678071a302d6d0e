import QtQuick
import QtQuick.Controls
import QtQuick.Layouts
import Ondel.App

// One line that says what stops the app from working, with the way to fix it.
Rectangle {
    id: banner
    objectName: "fixItBanner"
    readonly property bool micMissing: App.micMissing
    // Why a running recording hears no microphone; empty when it does.
    readonly property string micNotice: App.micNotice
    readonly property bool micProblem: micMissing || micNotice !== ""
    // Not before the keyring has answered: a stored sign-in may be on its way.
    readonly property bool needsAccount: App.account.loaded && !App.account.isSignedIn && !App.account.hasByoKey
    property bool noSoundSettings: false

    visible: micProblem || needsAccount
    implicitHeight: visible ? row.implicitHeight + 16 : 0
    color: Ondel.accentAt(0.08)

    Rectangle {
        anchors.left: parent.left
        anchors.right: parent.right
        anchors.bottom: parent.bottom
        height: 1
        color: Ondel.hairline
    }
    RowLayout {
        id: row
        anchors.fill: parent
        anchors.leftMargin: 14
        anchors.rightMargin: 14
        anchors.topMargin: 8
        anchors.bottomMargin: 8
        spacing: 8
        Icon { symbol: "exclamationmark.circle"; size: 15; color: Ondel.accent }
        Text {
            Layout.fillWidth: true
            text: banner.micNotice !== "" ? banner.micNotice
                  : banner.micMissing
                  ? (banner.noSoundSettings ? "Ondel can't hear you yet — microphone access is off. Connect a microphone, or turn one on in your desktop's sound settings."
                                            : "Ondel can't hear you yet — microphone access is off.")
                  : "Sign in to start transcribing — your free minutes are waiting."
            font: Ondel.font(12.5)
            color: Ondel.ink
            wrapMode: Text.Wrap
        }
        PillButton {
            objectName: "fixItButton"
            visible: !(banner.micProblem && banner.noSoundSettings)
            text: banner.micProblem ? "Open Sound Settings" : "Sign in"
            // Settings are a page of this window, and the account card is its first card.
            onClicked: banner.micProblem ? (banner.noSoundSettings = !App.openSoundSettings()) : App.openSettings()
        }
    }
}
