import QtQuick
import QtQuick.Controls
import QtQuick.Layouts
import Ondel.App

// The one window: the sidebar, the page it chooses, and the recording strip under it.
ApplicationWindow {
    id: window
    objectName: "mainWindow"
    width: 1120
    height: 740
    minimumWidth: 720
    minimumHeight: 460
    visible: true
    title: "Ondel"
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
        toolTipBase: Ondel.raised
        toolTipText: Ondel.ink
        light: Ondel.dark ? "#48484a" : "#ffffff"
        midlight: Ondel.dark ? "#3a3a3c" : "#ecebe8"
        mid: Ondel.dark ? "#2c2c2e" : "#d8d7d3"
        dark: Ondel.dark ? "#111112" : "#a9a8a4"
        shadow: "#000000"
    }

    // Tooltips share one popup of the style, which keeps its own colours: it gets a background
    // of ours that draws the text too, over the style's own text, kept only for the size.
    Item {
        id: tipParts
        Component {
            id: tipBackground
            Rectangle {
                property QtObject tip
                color: Ondel.raised
                border.width: 0.5
                border.color: Ondel.inkAt(0.2)
                radius: 5
                Text {
                    anchors.fill: parent
                    anchors.margins: 6
                    text: parent.tip ? parent.tip.text : ""
                    font: parent.tip ? parent.tip.font : Ondel.font(12)
                    color: Ondel.ink
                    wrapMode: Text.Wrap
                    verticalAlignment: Text.AlignVCenter
                }
            }
        }
        Component.onCompleted: {
            const tip = ToolTip.toolTip
            tip.font = Ondel.font(12)
            tip.background = tipBackground.createObject(tipParts, { tip: tip })
            tip.contentItem.opacity = 0
        }
    }

    readonly property alias content: mainContent
    readonly property alias sidebar: sidebar
    readonly property alias keepRunningNotice: keepRunningNotice

    MainContent { id: mainContent }
    FolderListModel { id: folderModel }

    function bringForward() {
        if (window.visibility === Window.Hidden || window.visibility === Window.Minimized)
            window.showNormal()
        window.raise()
        window.requestActivate()
    }

    Connections {
        target: App
        function onOpenSettingsRequested() {
            mainContent.showSettings()
            window.bringForward()
        }
        function onMainWindowRequested() { window.bringForward() }
        // The tour opens in front of everything; a second request opens another one.
        function onOnboardingRequested() {
            const tour = onboardingComponent.createObject(window)
            window.onboardingWindow = tour
            tour.show()
            tour.raise()
            tour.requestActivate()
        }
    }
    property Window onboardingWindow: null
    Component {
        id: onboardingComponent
        OnboardingView {}
    }
    onActiveChanged: if (active) App.refreshMicStatus()

    Shortcut {
        sequence: "Ctrl+,"
        onActivated: mainContent.showSettings()
    }
    Shortcut {
        sequence: StandardKey.New
        onActivated: mainContent.quickNote()
    }
    Shortcut {
        sequence: "Ctrl+Q"
        context: Qt.ApplicationShortcut
        onActivated: App.quit()
    }

    // Closing ends nothing. With no tray to lead back, the first close of a run says so.
    onClosing: close => {
        if (App.explainsClosing()) {
            close.accepted = false
            keepRunningNotice.open()
        }
    }
    AppDialog {
        id: keepRunningNotice
        objectName: "keepRunningNotice"
        width: 420
        title: "Ondel keeps running"
        closePolicy: Popup.CloseOnEscape
        Label {
            width: parent.width
            wrapMode: Text.Wrap
            text: "Recordings and reminders go on while the window is closed. Open Ondel again from your applications to bring the window back. To quit, press Ctrl+Q in the window, or choose Quit Ondel in the account menu at the bottom of the sidebar."
            font: Ondel.font(13)
            lineHeight: 1.15
            color: Ondel.secondaryInk
        }
        footer: DialogButtons {
            PillButton {
                objectName: "quitFromNotice"
                text: "Quit Ondel"
                onClicked: App.quit()
            }
            PillButton {
                objectName: "keepRunning"
                text: "Close Window"
                prominent: true
                onClicked: keepRunningNotice.accept()
            }
        }
        onAccepted: window.close()
    }

    header: ToolBar {
        objectName: "toolbar"
        background: Rectangle {
            color: Ondel.background
            Rectangle { anchors.bottom: parent.bottom; width: parent.width; height: 1; color: Ondel.hairline }
        }
        RowLayout {
            anchors.fill: parent
            anchors.leftMargin: 8
            anchors.rightMargin: 8
            spacing: 4
            ToolButtonIcon {
                objectName: "homeButton"
                text: "Home"
                symbol: "house"
                tip: "Home — your meetings & week"
                enabled: mainContent.homeEnabled
                onClicked: mainContent.showHome()
            }
            Item { Layout.fillWidth: true }
            ToolButtonIcon {
                objectName: "quickNoteButton"
                text: "Quick note"
                symbol: "square.and.pencil"
                tip: "Quick note — start a new recording (Ctrl+N)"
                onClicked: mainContent.quickNote()
            }
            ToolButtonIcon {
                objectName: "settingsButton"
                text: "Settings"
                symbol: "gearshape"
                tip: "Settings (Ctrl+,)"
                onClicked: mainContent.showSettings()
            }
        }
    }

    SplitView {
        anchors.fill: parent
        handle: Rectangle {
            implicitWidth: 1
            color: Ondel.hairline
        }

        Sidebar {
            id: sidebar
            SplitView.minimumWidth: 240
            SplitView.preferredWidth: 264
            SplitView.maximumWidth: 420
            content: mainContent
            folders: folderModel
            onNewFolderRequested: meetingId => newFolderSheet.ask(meetingId)
            onRenameFolderRequested: (id, name) => renameDialog.ask(id, name)
        }

        ColumnLayout {
            SplitView.fillWidth: true
            spacing: 0

            FixItBanner {
                Layout.fillWidth: true
                visible: mainContent.page !== MainContent.Settings && (micProblem || needsAccount)
            }

            Loader {
                id: pageLoader
                objectName: "pageLoader"
                Layout.fillWidth: true
                Layout.fillHeight: true
                sourceComponent: {
                    switch (mainContent.page) {
                    case MainContent.Meeting: return meetingPage
                    case MainContent.Settings: return settingsPage
                    default: return homePage
                    }
                }
            }

            RecordingControlView {
                id: strip
                objectName: "recordingStrip"
                Layout.fillWidth: true
                Layout.preferredHeight: mainContent.recordingBarVisible ? implicitHeight : 0
                visible: Layout.preferredHeight > 0
                clip: true
                Behavior on Layout.preferredHeight { NumberAnimation { duration: 200; easing.type: Easing.InOutQuad } }
                onStartRequested: mainContent.startRecording("")
                onStopRequested: RecordingController.stop()
                onPauseRequested: RecordingController.pause()
                onResumeRequested: RecordingController.resume()
            }
        }
    }

    Component {
        id: homePage
        HomeView {
            content: mainContent
            folders: folderModel
            folderId: mainContent.page === MainContent.Folder ? mainContent.selectedId : ""
            onNewFolderRequested: meetingId => newFolderSheet.ask(meetingId)
        }
    }
    Component {
        id: meetingPage
        // A screen of its own for each meeting opened: nothing of one (an answer on its way, a
        // share, the open panels, the tab, the feed's place) shows over the next.
        Item {
            Repeater {
                model: mainContent.page === MainContent.Meeting ? [mainContent.selectedId] : []
                MeetingDetailView {
                    required property string modelData
                    anchors.fill: parent
                    meetingId: modelData
                }
            }
        }
    }
    Component {
        id: settingsPage
        SettingsPage {}
    }

    NewFolderSheet {
        id: newFolderSheet
        folders: folderModel
    }
    RenameFolderDialog {
        id: renameDialog
        folders: folderModel
    }

    Connections {
        target: mainContent
        function onConfirmationChanged() {
            if (mainContent.confirming)
                confirmDialog.open()
            else
                confirmDialog.close()
        }
    }
    AppDialog {
        id: confirmDialog
        objectName: "confirmDialog"
        width: 400
        title: mainContent.confirmationTitle
        closePolicy: Popup.CloseOnEscape
        footer: DialogButtons {
            PillButton {
                text: "Cancel"
                onClicked: confirmDialog.reject()
            }
            PillButton {
                objectName: "stopAndStart"
                text: "Stop & Start"
                prominent: true
                onClicked: confirmDialog.accept()
            }
        }
        onAccepted: mainContent.confirmStopAndStart()
        // Escape, a click elsewhere, or "Cancel": all the same.
        onClosed: mainContent.cancelConfirmation()
    }
}
