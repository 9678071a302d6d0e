import QtQuick
import QtQuick.Controls
import QtQuick.Layouts
import Ondel.App

// Every setting, in cards: the account, transcription, notifications, general, the dictionary
// and the user's own key. Each control writes its setting at once; nothing waits for a save.
Flickable {
    id: page
    objectName: "settingsPage"
    readonly property alias accountSection: accountSection
    readonly property alias form: settingsForm

    contentHeight: column.implicitHeight + 56
    boundsBehavior: Flickable.StopAtBounds
    ScrollBar.vertical: ScrollBar {}

    SettingsForm { id: settingsForm }
    // Back from the desktop's sound settings, the microphone row shows the new state; and the
    // control that takes the keyboard is scrolled into view.
    Connections {
        target: page.Window.window
        function onActiveChanged() {
            if (page.Window.window.active) {
                settingsForm.refreshMicrophone()
                settingsForm.refreshLiveDraft()
            }
        }
        function onActiveFocusItemChanged() { page.reveal(page.Window.activeFocusItem) }
    }
    function reveal(item) {
        let inside = false
        for (let p = item; p && !inside; p = p.parent)
            inside = p === page.contentItem
        if (!inside)
            return
        const margin = 24
        const top = item.mapToItem(page.contentItem, 0, 0).y - margin
        const bottom = top + item.height + 2 * margin
        if (top < contentY)
            contentY = Math.max(0, top)
        else if (bottom > contentY + height)
            contentY = Math.max(0, Math.min(contentHeight - height, bottom - height))
    }

    ColumnLayout {
        id: column
        x: Math.max(28, (page.width - 640) / 2)
        y: 28
        width: Math.min(640, page.width - 56)
        spacing: 8

        Text {
            Layout.bottomMargin: 4
            text: "Settings"
            font: Ondel.font(24, Font.DemiBold)
            color: Ondel.ink
        }

        EditorialLabel { text: "Account"; Layout.topMargin: 10 }
        SettingsCard {
            objectName: "accountCard"
            AccountSectionView {
                id: accountSection
                Layout.fillWidth: true
                Layout.margins: 16
            }
        }

        EditorialLabel { text: "Transcription"; Layout.topMargin: 14 }
        SettingsCard {
            SettingsRow {
                symbol: "character.bubble"
                title: "Language"
                subtitle: "Auto-detect handles Vietnamese, English, or mixed meetings. Applies to your next recording."
                ComboBox {
                    objectName: "languagePicker"
                    // The choice as a label: the style's read-only field read as an unnamed entry.
                    contentItem: Text {
                        leftPadding: 10
                        rightPadding: 4
                        text: parent.displayText
                        font: Ondel.font(13)
                        color: Ondel.ink
                        verticalAlignment: Text.AlignVCenter
                        elide: Text.ElideRight
                    }
                    Accessible.name: "Language"
                    textRole: "label"
                    valueRole: "code"
                    model: [
                        { label: "Auto-detect", code: "auto" },
                        { label: "Vietnamese", code: "vi" },
                        { label: "English", code: "en" }
                    ]
                    // A stored language that isn't offered reads as auto-detect.
                    currentIndex: Math.max(0, indexOfValue(App.settings.transcriptionLanguage))
                    onActivated: App.settings.transcriptionLanguage = currentValue
                }
            }
            SettingsDivider {}
            SettingsRow {
                symbol: "text.viewfinder"
                title: "Show words as they're spoken"
                subtitle: "Fills the couple of seconds before the full transcript arrives with a rough guess made on this computer — dimmed, and replaced the moment the real text lands. Nothing is sent anywhere and nothing rough is ever saved. Still experimental: the guess is noticeably weaker for Vietnamese."
                    + (settingsForm.liveDraftAvailable ? "" : "\n\n" + settingsForm.liveDraftNote)
                SettingsSwitch {
                    objectName: "liveDraftSwitch"
                    text: "Show words as they're spoken"
                    // Without the model it can be turned off, not on.
                    enabled: settingsForm.liveDraftAvailable || checked
                    checked: App.settings.liveDraftEnabled
                    onToggled: App.settings.liveDraftEnabled = checked
                }
            }
            SettingsDivider {}
            SettingsRow {
                symbol: "waveform.badge.exclamationmark"
                title: "Remove duplicated speech"
                subtitle: "On speakers, other people's voices reach your microphone as well, so the same sentence can be written down twice — once as them, once as you. This drops the microphone copy and keeps the clearer one. Turn it off only if lines are disappearing that shouldn't."
                SettingsSwitch {
                    objectName: "echoSwitch"
                    text: "Remove duplicated speech"
                    checked: App.settings.echoSuppressionEnabled
                    onToggled: App.settings.echoSuppressionEnabled = checked
                }
            }
        }

        EditorialLabel { text: "Notifications"; Layout.topMargin: 14 }
        SettingsCard {
            SettingsRow {
                symbol: "bell"
                title: "Meeting reminders"
                subtitle: "A nudge one minute before meetings with participants or a call link."
                SettingsSwitch {
                    objectName: "remindersSwitch"
                    text: "Meeting reminders"
                    checked: App.settings.meetingRemindersEnabled
                    onToggled: App.settings.meetingRemindersEnabled = checked
                }
            }
        }

        EditorialLabel { text: "General"; Layout.topMargin: 14 }
        SettingsCard {
            SettingsRow {
                symbol: "circle.lefthalf.filled"
                title: "Appearance"
                ComboBox {
                    objectName: "themePicker"
                    // The choice as a label: the style's read-only field read as an unnamed entry.
                    contentItem: Text {
                        leftPadding: 10
                        rightPadding: 4
                        text: parent.displayText
                        font: Ondel.font(13)
                        color: Ondel.ink
                        verticalAlignment: Text.AlignVCenter
                        elide: Text.ElideRight
                    }
                    Accessible.name: "Appearance"
                    model: ["System", "Light", "Dark"]
                    readonly property var words: ["system", "light", "dark"]
                    currentIndex: Math.max(0, words.indexOf(App.settings.appTheme))
                    onActivated: index => App.settings.appTheme = words[index]
                }
            }
            SettingsDivider {}
            SettingsRow {
                symbol: "speaker.wave.2"
                title: "Sound feedback"
                SettingsSwitch {
                    objectName: "soundSwitch"
                    text: "Sound feedback"
                    checked: App.settings.soundEnabled
                    onToggled: App.settings.soundEnabled = checked
                }
            }
            SettingsDivider {}
            SettingsRow {
                symbol: "power"
                title: "Launch at login"
                SettingsSwitch {
                    objectName: "launchAtLoginSwitch"
                    text: "Launch at login"
                    checked: App.settings.launchAtLogin
                    onToggled: App.setLaunchAtLogin(checked)
                }
            }
            SettingsDivider {}
            SettingsRow {
                objectName: "microphoneRow"
                symbol: "mic"
                title: "Microphone"
                subtitle: settingsForm.micGranted ? "Access granted" : "Access is off — turn it on to record"
                PillButton {
                    objectName: "openSoundSettings"
                    visible: !settingsForm.micGranted
                    text: "Open Settings"
                    onClicked: App.openSoundSettings()
                }
            }
        }

        EditorialLabel { text: "Dictionary"; Layout.topMargin: 14 }
        SettingsCard {
            ColumnLayout {
                Layout.fillWidth: true
                Layout.margins: 16
                spacing: 10
                Text {
                    Layout.fillWidth: true
                    text: "Words Ondel should always spell your way."
                    font: Ondel.font(12.5)
                    color: Ondel.secondaryInk
                    wrapMode: Text.Wrap
                }
                RowLayout {
                    Layout.fillWidth: true
                    spacing: 8
                    TextField {
                        objectName: "newWordField"
                        Accessible.name: "New word"
                        Layout.fillWidth: true
                        placeholderText: "Add a word…"
                        text: settingsForm.newWord
                        onTextEdited: settingsForm.newWord = text
                        onAccepted: settingsForm.addWord()
                    }
                    PillButton {
                        objectName: "addWordButton"
                        text: "Add"
                        onClicked: settingsForm.addWord()
                    }
                }
                Flow {
                    objectName: "wordChips"
                    Layout.fillWidth: true
                    visible: wordRepeater.count > 0
                    spacing: 6
                    Repeater {
                        id: wordRepeater
                        model: App.settings.customDictionary
                        WordChip {
                            required property string modelData
                            required property int index
                            word: modelData
                            onRemoveRequested: settingsForm.removeWord(index)
                        }
                    }
                }
            }
        }

        EditorialLabel { text: "Advanced"; Layout.topMargin: 14 }
        SettingsCard {
            ColumnLayout {
                Layout.fillWidth: true
                Layout.margins: 16
                spacing: 8
                TextField {
                    objectName: "ownKeyField"
                    Accessible.name: "Your own Vrel key"
                    Layout.fillWidth: true
                    echoMode: TextInput.Password
                    placeholderText: "Use my own Vrel key (vr-…)"
                    text: App.account.byoKey
                    // The stored key is still on its way; typing now would race it.
                    enabled: App.account.loaded
                    onTextEdited: App.account.byoKey = text
                }
                Text {
                    objectName: "ownKeyExplanation"
                    Layout.fillWidth: true
                    text: App.account.hasByoKey ? "Using your own Vrel key — the free allowance isn't used."
                                                : "Optional. With a key, calls go straight to Vrel instead of your Ondel account."
                    font: Ondel.font(12)
                    color: Ondel.secondaryInk
                    wrapMode: Text.Wrap
                }
                Text {
                    objectName: "keysInFileNote"
                    Layout.fillWidth: true
                    visible: App.account.secretsInFile
                    text: "Your keys are kept in a file on this computer because no keyring is available."
                    font: Ondel.font(12)
                    color: Ondel.secondaryInk
                    wrapMode: Text.Wrap
                }
            }
        }
    }
}
