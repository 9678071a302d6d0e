import QtQuick
import QtQuick.Layouts
import Ondel.App

// Notes drawn as the four kinds of block: headings in spaced capitals, bullets with a dot,
// tasks with a box that shows their state only, and paragraphs.
Column {
    id: notes
    property alias markdown: blocks.markdown
    readonly property alias count: blocks.count

    spacing: 0

    SummaryBlockModel {
        id: blocks
        inkColor: Ondel.ink
    }

    Repeater {
        model: blocks
        delegate: Loader {
            id: block
            required property int kind
            required property string text
            required property string richText
            required property bool done
            required property bool isFirst
            width: notes.width
            sourceComponent: kind === SummaryBlockModel.Heading ? heading
                           : kind === SummaryBlockModel.Bullet ? bullet
                           : kind === SummaryBlockModel.Task ? task : paragraph

            Component {
                id: heading
                Text {
                    text: block.text
                    textFormat: Text.PlainText
                    font.family: Ondel.family
                    font.pixelSize: 11
                    font.weight: Font.DemiBold
                    font.letterSpacing: 1.1
                    color: Ondel.secondaryInk
                    topPadding: block.isFirst ? 0 : 22
                    bottomPadding: 7
                    wrapMode: Text.Wrap
                }
            }
            Component {
                id: bullet
                RowLayout {
                    spacing: 11
                    Item {
                        Layout.alignment: Qt.AlignTop
                        Layout.preferredWidth: 4
                        Layout.preferredHeight: 4
                        Layout.topMargin: 3.5 + 8
                        Rectangle {
                            anchors.fill: parent
                            radius: 2
                            color: Ondel.secondaryInk
                            opacity: 0.55
                        }
                    }
                    InlineText {
                        Layout.fillWidth: true
                        text: block.richText
                        topPadding: 3.5
                        bottomPadding: 3.5
                    }
                }
            }
            Component {
                id: task
                RowLayout {
                    spacing: 11
                    Rectangle {
                        objectName: "taskBox"
                        Layout.alignment: Qt.AlignTop
                        Layout.topMargin: 3.5 + 1.5
                        Layout.preferredWidth: 15
                        Layout.preferredHeight: 15
                        radius: 5
                        color: block.done ? Ondel.accent : "transparent"
                        border.width: block.done ? 0 : 1.5
                        border.color: Ondel.inkAt(0.56 * 0.45)
                        Icon {
                            visible: block.done
                            anchors.centerIn: parent
                            symbol: "checkmark"
                            size: 10
                            color: "white"
                        }
                    }
                    InlineText {
                        Layout.fillWidth: true
                        visible: !block.done
                        text: block.richText
                        topPadding: 3.5
                        bottomPadding: 3.5
                    }
                    Text {
                        Layout.fillWidth: true
                        visible: block.done
                        text: block.text
                        textFormat: Text.PlainText
                        font.family: Ondel.body.family
                        font.pixelSize: Ondel.body.pixelSize
                        font.strikeout: true
                        color: Ondel.secondaryInk
                        wrapMode: Text.Wrap
                        topPadding: 3.5
                        bottomPadding: 3.5
                    }
                }
            }
            Component {
                id: paragraph
                InlineText {
                    text: block.richText
                    topPadding: 5
                    bottomPadding: 5
                }
            }
        }
    }
}
