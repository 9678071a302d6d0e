import QtQuick
import QtQuick.Controls
import Ondel.App

// The running transcript: lines as bubbles, and while recording the rough draft or a listening
// mark at the end. It follows the end only while the reader is within 40 points of it, so
// scrolling back to read is never undone by a new line.
Item {
    id: feed
    property alias meetingId: groups.meetingId
    property bool isLive: false
    property bool isPaused: false
    property string draft: ""
    // What the fades blend into: the surface behind the feed.
    property color surface: Ondel.background

    // How close to the end still counts as at the end.
    readonly property real followDistance: 40
    property real distanceFromBottom: 0
    property bool hasUnseen: false
    readonly property alias lineCount: groups.lineCount
    readonly property alias list: list

    TranscriptFeedModel { id: groups }

    function measure() {
        if (list.height <= 0)
            return
        distanceFromBottom = Math.max(0, endY() - list.contentY)
        if (distanceFromBottom <= followDistance)
            hasUnseen = false
    }
    // Where contentY stands when the end mark touches the bottom of the view.
    function endY() {
        return Math.max(list.originY - list.topMargin, list.originY + list.contentHeight + list.bottomMargin - list.height)
    }
    function land() {
        // Heights below the fold are estimates until drawn: make them real, then settle.
        list.positionViewAtEnd()
        list.contentY = endY()
        measure()
    }
    function scrollToEnd(animated) {
        settle.stop()
        if (!animated) {
            land()
            return
        }
        toEnd.from = list.contentY
        toEnd.to = endY()
        settle.start()
    }
    function jumpToLatest() {
        hasUnseen = false
        scrollToEnd(true)
    }

    onDraftChanged: if (distanceFromBottom <= followDistance) scrollToEnd(false)
    Connections {
        target: groups
        function onLineCountChanged() {
            if (feed.distanceFromBottom <= feed.followDistance)
                feed.scrollToEnd(true)
            else
                feed.hasUnseen = true
        }
    }
    // A feed comes into view at its end.
    Component.onCompleted: Qt.callLater(() => scrollToEnd(false))

    SequentialAnimation {
        id: settle
        NumberAnimation { id: toEnd; target: list; property: "contentY"; duration: 250; easing.type: Easing.OutCubic }
        ScriptAction { script: feed.land() }
    }

    ListView {
        id: list
        objectName: "feedList"
        anchors.fill: parent
        model: groups
        spacing: 10
        topMargin: 14
        bottomMargin: 14
        reuseItems: true
        cacheBuffer: 600
        boundsBehavior: Flickable.StopAtBounds
        ScrollBar.vertical: ScrollBar {}
        readonly property real columnWidth: Math.min(660, width - 72)
        readonly property real columnX: 36

        onContentYChanged: feed.measure()
        // A reader at the end stays there when the pane is resized or first laid out.
        onHeightChanged: feed.distanceFromBottom <= feed.followDistance ? feed.scrollToEnd(false) : feed.measure()

        delegate: Item {
            id: row
            required property string groupId
            required property bool isMe
            required property string text
            width: list.width
            height: bubble.height

            Rectangle {
                id: bubble
                objectName: "bubble"
                x: list.columnX
                width: Math.min(body.implicitWidth, Math.min(700, list.columnWidth) - 30) + 30
                height: body.height + 16
                radius: 14
                color: Ondel.inkAt(row.isMe ? 0.085 : 0.035)

                TextEdit {
                    id: body
                    x: 15
                    y: 8
                    width: parent.width - 30
                    text: row.text
                    readOnly: true
                    selectByMouse: true
                    textFormat: TextEdit.PlainText
                    wrapMode: TextEdit.Wrap
                    font: Ondel.font(14)
                    color: Ondel.inkAt(0.9)
                    selectionColor: Ondel.accentAt(0.3)
                    selectedTextColor: Ondel.ink
                }
            }
        }

        footer: Item {
            width: list.width
            height: feed.isLive ? liveEnd.height + list.spacing : 0

            Loader {
                id: liveEnd
                y: list.spacing
                x: list.columnX
                width: list.columnWidth
                active: feed.isLive
                sourceComponent: feed.draft.length > 0 ? draftBubble : listening
            }
        }
    }

    Component {
        id: draftBubble
        DraftBubble { text: feed.draft }
    }
    Component {
        id: listening
        Row {
            objectName: "listeningMark"
            spacing: 7
            height: 24
            Rectangle {
                visible: feed.isPaused
                width: 7; height: 7; radius: 3.5
                color: Ondel.secondaryInk
                anchors.verticalCenter: parent.verticalCenter
            }
            RecordingDot {
                visible: !feed.isPaused
                size: 7
                anchors.verticalCenter: parent.verticalCenter
            }
            Text {
                text: feed.isPaused ? "Paused" : "Listening…"
                font: Ondel.font(12)
                color: Ondel.secondaryInk
                anchors.verticalCenter: parent.verticalCenter
            }
        }
    }

    // The list fades out over its top and bottom edges.
    Rectangle {
        anchors { left: parent.left; right: parent.right; top: parent.top }
        height: parent.height * 0.035
        gradient: Gradient {
            GradientStop { position: 0; color: feed.surface }
            GradientStop { position: 1; color: Qt.rgba(feed.surface.r, feed.surface.g, feed.surface.b, 0) }
        }
    }
    Rectangle {
        anchors { left: parent.left; right: parent.right; bottom: parent.bottom }
        height: parent.height * 0.035
        gradient: Gradient {
            GradientStop { position: 0; color: Qt.rgba(feed.surface.r, feed.surface.g, feed.surface.b, 0) }
            GradientStop { position: 1; color: feed.surface }
        }
    }

    Button {
        id: pill
        objectName: "latestPill"
        property bool shown: feed.hasUnseen
        anchors.right: parent.right
        anchors.rightMargin: 14
        y: parent.height - height - (shown ? 12 : 0)
        opacity: shown ? 1 : 0
        visible: opacity > 0
        Behavior on opacity { NumberAnimation { duration: 180 } }
        Behavior on y { NumberAnimation { duration: 180; easing.type: Easing.OutCubic } }
        ToolTip.visible: hovered
        ToolTip.text: "Jump to the newest line"
        ToolTip.delay: 600
        leftPadding: 11
        rightPadding: 12
        topPadding: 5
        bottomPadding: 5
        onClicked: feed.jumpToLatest()
        contentItem: Row {
            spacing: 5
            Icon { symbol: "arrow.down"; size: 12; color: Ondel.ink; anchors.verticalCenter: parent.verticalCenter }
            Text { text: "Latest"; font: Ondel.font(12, Font.Medium); color: Ondel.ink; anchors.verticalCenter: parent.verticalCenter }
        }
        background: Rectangle {
            radius: height / 2
            color: Ondel.raised
            border.width: 0.5
            border.color: Ondel.inkAt(0.18)
            FocusRing { shown: pill.visualFocus; radius: height / 2 }
        }
    }
}
