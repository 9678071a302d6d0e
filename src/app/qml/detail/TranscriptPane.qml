import QtQuick
import QtQuick.Controls
import QtQuick.Layouts
import Ondel.App

// The transcript under the notes: a header with the handle that resizes it, then the feed.
// The height is one for all meetings and survives a restart.
Rectangle {
    id: pane
    property alias meetingId: feed.meetingId
    property alias isLive: feed.isLive
    property alias isPaused: feed.isPaused
    property alias draft: feed.draft
    readonly property alias feed: feed
    required property TranscriptPaneHeight paneHeight
    // The header's own controls, left of the handle and right of it.
    default property alias headerItems: headerRow.data

    implicitHeight: paneHeight.height
    color: Ondel.background

    Rectangle { width: parent.width; height: 1; color: Ondel.hairline }

    Item {
        id: header
        width: parent.width
        height: 44

        RowLayout {
            id: headerRow
            anchors.fill: parent
            anchors.leftMargin: 14
            anchors.rightMargin: 14
            spacing: 6
        }

        // Dragging up makes the pane taller.
        Rectangle {
            objectName: "resizeHandle"
            anchors.horizontalCenter: parent.horizontalCenter
            y: 6
            width: 36
            height: 5
            radius: 2.5
            color: Ondel.inkAt(handle.active || handleHover.hovered ? 0.3 : 0.16)
        }
        Item {
            objectName: "resizeGrip"
            anchors.horizontalCenter: parent.horizontalCenter
            width: 120
            height: 20
            HoverHandler { id: handleHover; cursorShape: Qt.SizeVerCursor }
            DragHandler {
                id: handle
                target: null
                xAxis.enabled: false
                // Measured in the window, not on the handle, which moves as the pane grows.
                onCentroidChanged: if (active) pane.paneHeight.drag(centroid.scenePosition.y - centroid.scenePressPosition.y)
                onActiveChanged: if (!active) pane.paneHeight.endDrag()
            }
        }
    }

    TranscriptFeedView {
        id: feed
        anchors.top: header.bottom
        anchors.left: parent.left
        anchors.right: parent.right
        anchors.bottom: parent.bottom
        visible: height > 8
        clip: true
        surface: pane.color
    }
}
