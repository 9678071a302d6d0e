import QtQuick
import QtQuick.Controls
import QtQuick.Layouts
import Ondel.App

// Who is signed in, and the way to the account's settings.
ItemDelegate {
    id: footer
    required property MainContent content
    readonly property var account: App.account
    readonly property bool signedIn: account.isSignedIn
    readonly property string email: account.displayEmail !== undefined ? account.displayEmail : ""
    readonly property bool hasGatewayKey: account.hasVrelKey !== undefined && account.hasVrelKey
    readonly property var balance: account.vrelBalance

    objectName: "accountFooter"
    padding: 6
    background: Rectangle { radius: 8; color: footer.hovered || accountMenu.visible ? Ondel.inkAt(0.05) : "transparent" }
    contentItem: RowLayout {
        spacing: 8
        Rectangle {
            width: 26
            height: 26
            radius: 13
            color: Ondel.inkAt(0.08)
            Icon {
                anchors.centerIn: parent
                symbol: footer.signedIn ? "person.fill" : "person"
                size: 14
                color: Ondel.inkAt(0.7)
            }
        }
        ColumnLayout {
            spacing: 0
            Layout.fillWidth: true
            Text {
                Layout.fillWidth: true
                text: !footer.signedIn ? "Sign in" : (footer.email.length > 0 ? footer.email : "Account")
                font: Ondel.font(12.5, Font.Medium)
                color: Ondel.ink
                elide: Text.ElideRight
            }
            Text {
                Layout.fillWidth: true
                visible: text.length > 0
                text: !footer.signedIn ? "Free — no account yet"
                      : footer.hasGatewayKey ? (typeof footer.balance === "number" ? "Vrel · $" + footer.balance.toFixed(2) : "Vrel account")
                      : ""
                font: Ondel.font(11)
                color: Ondel.secondaryInk
                elide: Text.ElideRight
            }
        }
        Icon { symbol: "chevron.up.chevron.down"; size: 12; color: Ondel.secondaryInk }
    }
    onClicked: accountMenu.popup(footer, 0, -accountMenu.implicitHeight)

    Menu {
        id: accountMenu
        MenuItem {
            visible: footer.signedIn
            height: visible ? implicitHeight : 0
            enabled: false
            text: footer.email.length > 0 ? footer.email : "Signed in"
        }
        MenuItem {
            visible: !footer.signedIn
            height: visible ? implicitHeight : 0
            text: "Sign in"
            onTriggered: footer.content.showSettings()
        }
        MenuSeparator {}
        MenuItem {
            text: "Settings"
            onTriggered: footer.content.showSettings()
        }
        MenuSeparator { visible: footer.signedIn; height: visible ? implicitHeight : 0 }
        MenuItem {
            visible: footer.signedIn
            height: visible ? implicitHeight : 0
            text: "Sign Out"
            onTriggered: if (footer.account.signOut) footer.account.signOut()
        }
    }
}
