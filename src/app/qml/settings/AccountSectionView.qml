import QtQuick
import QtQuick.Controls
import QtQuick.Layouts
import Ondel.App

// Sign in through the browser or with an emailed code, and, once signed in, who it is and
// this month's use. Also the sign-in form of the first-run window, there `compact`.
ColumnLayout {
    id: section
    property bool compact: false
    readonly property alias form: accountForm
    readonly property alias signOutConfirm: signOutDialog
    readonly property AccountService account: App.account

    spacing: 8

    AccountForm { id: accountForm }

    Loader {
        objectName: "accountView"
        Layout.fillWidth: true
        sourceComponent: {
            switch (accountForm.view) {
            case AccountForm.SignedIn: return signedInView
            case AccountForm.CodeSent: return codeView
            case AccountForm.Verifying: return verifyingView
            default: return emailView
            }
        }
    }

    Text {
        objectName: "flowError"
        Layout.fillWidth: true
        visible: text.length > 0
        text: section.account.flowError
        font: Ondel.font(12)
        color: Ondel.accent
        wrapMode: Text.Wrap
    }

    Component {
        id: emailView
        ColumnLayout {
            spacing: 10
            PillButton {
                objectName: "browserSignInButton"
                Layout.fillWidth: true
                prominent: true
                symbol: "person.crop.circle.badge.checkmark"
                // Centred across the whole width.
                leftPadding: Math.max(14, (width - contentItem.implicitWidth) / 2)
                text: section.account.vrelSigningIn ? "Opening sign-in…" : "Continue with Google"
                enabled: !section.account.vrelSigningIn
                onClicked: accountForm.continueInBrowser()
            }
            // The browser may be closed without an answer; nothing else would end the wait.
            TextButton {
                objectName: "stopWaitingButton"
                visible: section.account.vrelSigningIn
                Layout.alignment: Qt.AlignHCenter
                text: "Cancel"
                onClicked: accountForm.stopWaitingForBrowser()
            }
            Text {
                Layout.fillWidth: true
                visible: !section.compact
                text: "One tap, no password — or use email below. Free monthly transcription, no API key."
                font: Ondel.font(12)
                color: Ondel.secondaryInk
                wrapMode: Text.Wrap
            }
            RowLayout {
                Layout.fillWidth: true
                spacing: 8
                TextField {
                    objectName: "emailField"
                    Accessible.name: "Email address"
                    Layout.fillWidth: true
                    placeholderText: "you@example.com"
                    inputMethodHints: Qt.ImhEmailCharactersOnly | Qt.ImhNoAutoUppercase
                    text: accountForm.email
                    onTextEdited: accountForm.email = text
                    onAccepted: accountForm.sendLink()
                }
                PillButton {
                    objectName: "sendLinkButton"
                    text: "Send link"
                    enabled: accountForm.canSend
                    contentItem.opacity: accountForm.sending ? 0 : 1
                    onClicked: accountForm.sendLink()
                    BusyIndicator {
                        anchors.centerIn: parent
                        implicitWidth: 18
                        implicitHeight: 18
                        running: accountForm.sending
                        visible: running
                    }
                }
            }
        }
    }

    Component {
        id: codeView
        ColumnLayout {
            spacing: 8
            Component.onCompleted: codeField.forceActiveFocus()
            Text {
                Layout.fillWidth: true
                horizontalAlignment: section.compact ? Text.AlignHCenter : Text.AlignLeft
                text: "Check your email"
                font: Ondel.font(15, Font.DemiBold)
                color: Ondel.ink
            }
            Text {
                objectName: "sentToMessage"
                Layout.fillWidth: true
                textFormat: Text.StyledText
                text: accountForm.sentToMessage
                horizontalAlignment: section.compact ? Text.AlignHCenter : Text.AlignLeft
                font: Ondel.font(12.5)
                color: Ondel.secondaryInk
                wrapMode: Text.Wrap
            }
            RowLayout {
                Layout.topMargin: 4
                Layout.alignment: section.compact ? Qt.AlignHCenter : Qt.AlignLeft
                spacing: 8
                TextField {
                    id: codeField
                    objectName: "codeField"
                    Accessible.name: "6-digit code"
                    Layout.preferredWidth: 150
                    placeholderText: "6-digit code"
                    inputMethodHints: Qt.ImhDigitsOnly
                    font.pixelSize: 15
                    font.letterSpacing: 2
                    text: accountForm.code
                    onTextEdited: accountForm.code = text
                    onAccepted: accountForm.verify()
                }
                PillButton {
                    objectName: "verifyButton"
                    prominent: true
                    text: "Verify"
                    enabled: accountForm.canVerify
                    onClicked: accountForm.verify()
                }
            }
            RowLayout {
                Layout.leftMargin: section.compact ? 0 : -6
                Layout.alignment: section.compact ? Qt.AlignHCenter : Qt.AlignLeft
                spacing: 4
                TextButton {
                    objectName: "resendButton"
                    text: accountForm.resendLabel
                    tint: Ondel.accent
                    enabled: accountForm.canResend
                    onClicked: accountForm.resend()
                }
                TextButton {
                    objectName: "differentEmailButton"
                    text: "Use a different email"
                    tint: Ondel.secondaryInk
                    onClicked: accountForm.useDifferentEmail()
                }
            }
        }
    }

    Component {
        id: verifyingView
        RowLayout {
            spacing: 8
            BusyIndicator {
                implicitWidth: 18
                implicitHeight: 18
                running: true
            }
            Text {
                text: "Signing you in…"
                font: Ondel.font(13)
                color: Ondel.secondaryInk
            }
        }
    }

    Component {
        id: signedInView
        ColumnLayout {
            spacing: 8
            Component.onCompleted: accountForm.refresh()
            RowLayout {
                Layout.fillWidth: true
                spacing: 10
                Rectangle {
                    implicitWidth: 30
                    implicitHeight: 30
                    radius: 15
                    color: Ondel.inkAt(0.08)
                    Icon {
                        anchors.centerIn: parent
                        symbol: "person.fill"
                        size: 15
                        color: Ondel.inkAt(0.7)
                    }
                }
                Text {
                    objectName: "accountTitle"
                    // As wide as the address, narrower only when the row is.
                    Layout.preferredWidth: Math.ceil(implicitWidth)
                    Layout.minimumWidth: 60
                    text: accountForm.accountTitle
                    font: Ondel.font(13.5, Font.Medium)
                    color: Ondel.ink
                    elide: Text.ElideRight
                }
                Rectangle {
                    objectName: "vrelBadge"
                    visible: section.account.hasVrelKey
                    implicitWidth: badgeText.implicitWidth + 10
                    implicitHeight: badgeText.implicitHeight + 4
                    radius: 4
                    color: Ondel.accentAt(0.12)
                    Text {
                        id: badgeText
                        anchors.centerIn: parent
                        text: "VREL"
                        font.family: Ondel.label.family
                        font.pixelSize: 10
                        font.weight: Font.Bold
                        font.letterSpacing: 0.8
                        color: Ondel.accent
                    }
                }
                Item { Layout.fillWidth: true }
                PillButton {
                    objectName: "signOutButton"
                    text: "Sign out"
                    onClicked: accountForm.askToSignOut()
                }
            }
            ColumnLayout {
                objectName: "allowance"
                Layout.fillWidth: true
                visible: accountForm.usage === AccountForm.Allowance
                spacing: 5
                Accessible.role: Accessible.ProgressBar
                Accessible.name: accountForm.usageAccessibleText
                Rectangle {
                    Layout.fillWidth: true
                    implicitHeight: 6
                    radius: 3
                    color: Ondel.inkAt(0.08)
                    Rectangle {
                        objectName: "allowanceFill"
                        width: parent.width * accountForm.usageFraction
                        height: parent.height
                        radius: 3
                        color: accountForm.usageNearLimit ? Ondel.accent : Ondel.inkAt(0.55)
                    }
                }
            }
            Text {
                objectName: "usageLine"
                Layout.fillWidth: true
                visible: text.length > 0
                text: accountForm.usageText
                font: Ondel.font(12)
                color: accountForm.usageNearLimit ? Ondel.accent : Ondel.secondaryInk
                wrapMode: Text.Wrap
            }
            Text {
                objectName: "ownKeyLine"
                Layout.fillWidth: true
                visible: section.account.hasByoKey
                text: "Using your own Vrel key — the free allowance isn't used."
                font: Ondel.font(12)
                color: Ondel.secondaryInk
                wrapMode: Text.Wrap
            }
        }
    }

    AppDialog {
        id: signOutDialog
        objectName: "signOutConfirm"
        parent: Overlay.overlay
        anchors.centerIn: parent
        width: 380
        visible: accountForm.showSignOutConfirm
        title: "Sign out of Ondel?"
        closePolicy: Popup.CloseOnEscape
        Label {
            width: parent.width
            text: "Your notes, archive, and settings stay on this computer."
            wrapMode: Text.Wrap
            font: Ondel.font(13)
            color: Ondel.secondaryInk
        }
        footer: DialogButtons {
            PillButton {
                objectName: "cancelSignOut"
                text: "Cancel"
                onClicked: signOutDialog.reject()
            }
            PillButton {
                objectName: "confirmSignOut"
                text: "Sign Out"
                destructive: true
                onClicked: accountForm.confirmSignOut()
            }
        }
        onClosed: accountForm.cancelSignOut()
    }
}
