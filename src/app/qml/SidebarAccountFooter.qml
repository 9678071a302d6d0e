import QtQuick
import QtQuick.Controls
import QtQuick.Layouts
import Ondel.App

// Who is signed in, and the way to the account's settings.
ItemDelegate {
    id: footer
    required property MainContent content
    readonly property AccountService account: App.account
    readonly property string email: account.displayEmail

    objectName: "accountFooter"
    padding: 6
    Accessible.name: firstLine.text
    focusPolicy: Qt.StrongFocus
    background: Rectangle {
        radius: 8
        color: footer.hovered || accountMenu.visible ? Ondel.inkAt(0.05) : "transparent"
        FocusRing { shown: footer.visualFocus; radius: 10 }
    }
    contentItem: RowLayout {
        spacing: 8
        Rectangle {
            width: 26
            height: 26
            radius: 13
            color: Ondel.inkAt(0.08)
            Icon {
                anchors.centerIn: parent
                symbol: footer.account.isSignedIn ? "person.fill" : "person"
                size: 14
                color: Ondel.inkAt(0.7)
            }
        }
        ColumnLayout {
            spacing: 0
            Layout.fillWidth: true
            Text {
                id: firstLine
                objectName: "footerTitle"
                Layout.fillWidth: true
                // Until the keyring has answered, nobody is known to be signed out.
                text: !footer.account.loaded ? "Account"
                      : !footer.account.isSignedIn ? "Sign in" : (footer.email.length > 0 ? footer.email : "Account")
                font: Ondel.font(12.5, Font.Medium)
                color: Ondel.ink
                elide: Text.ElideRight
            }
            Text {
                objectName: "footerDetail"
                Layout.fillWidth: true
                visible: text.length > 0
                // Only the account's own sign-in has nothing to add here.
                text: !footer.account.loaded ? ""
                      : !footer.account.isSignedIn ? "Free — no account yet"
                      : !footer.account.hasVrelKey ? ""
                      : footer.account.hasVrelBalance ? "Vrel · $" + footer.account.vrelBalance.toFixed(2)
                      : "Vrel account"
                font: Ondel.font(11)
                color: Ondel.secondaryInk
                elide: Text.ElideRight
            }
        }
        Icon { symbol: "chevron.up.chevron.down"; size: 12; color: Ondel.secondaryInk }
    }
    onClicked: accountMenu.open()

    function iconOf(symbol, color) {
        return "image://icon/" + symbol + "?color=" + encodeURIComponent(String(color))
    }

    Menu {
        id: accountMenu
        objectName: "accountMenu"
        // Above the footer, as wide as it.
        y: -height - 4
        width: footer.width
        MenuItem {
            visible: footer.account.isSignedIn
            height: visible ? implicitHeight : 0
            enabled: false
            text: footer.email.length > 0 ? footer.email : "Signed in"
        }
        MenuItem {
            visible: !footer.account.isSignedIn
            height: visible ? implicitHeight : 0
            text: "Sign in"
            icon.source: footer.iconOf("person.crop.circle", Ondel.ink)
            onTriggered: footer.content.showSettings()
        }
        MenuSeparator {}
        MenuItem {
            text: "Settings"
            icon.source: footer.iconOf("gearshape", Ondel.ink)
            onTriggered: footer.content.showSettings()
        }
        MenuSeparator { visible: footer.account.isSignedIn; height: visible ? implicitHeight : 0 }
        MenuItem {
            objectName: "footerSignOut"
            visible: footer.account.isSignedIn
            height: visible ? implicitHeight : 0
            text: "Sign Out"
            icon.source: footer.iconOf("rectangle.portrait.and.arrow.right", Ondel.accent)
            palette.text: Ondel.accent
            palette.windowText: Ondel.accent
            onTriggered: footer.account.signOut()
        }
        MenuSeparator {}
        MenuItem {
            objectName: "welcomeItem"
            text: "Welcome to Ondel"
            onTriggered: App.showOnboarding()
        }
        // Without a tray this is the way out; Ctrl+Q does the same.
        MenuItem {
            objectName: "quitItem"
            text: "Quit Ondel"
            onTriggered: App.quit()
        }
    }
}
