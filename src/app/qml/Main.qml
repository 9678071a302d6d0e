import QtQuick
import QtQuick.Controls
import QtQuick.Layouts
import Ondel.App

ApplicationWindow {
    id: window
    width: 1120
    height: 740
    visible: true
    title: "Ondel"

    MeetingListModel {
        id: meetings
    }

    ColumnLayout {
        anchors.fill: parent
        anchors.margins: 24
        spacing: 12

        Label {
            text: "Meetings"
            font.pixelSize: 22
            font.weight: Font.DemiBold
        }

        Label {
            visible: meetings.count === 0
            text: "No meetings yet."
            opacity: 0.6
        }

        ListView {
            Layout.fillWidth: true
            Layout.fillHeight: true
            clip: true
            model: meetings
            spacing: 2
            delegate: ItemDelegate {
                required property string title
                required property date date
                required property double duration
                required property bool isRecording
                width: ListView.view.width
                contentItem: RowLayout {
                    Label {
                        Layout.fillWidth: true
                        text: (title.length > 0 ? title : "Untitled") + (isRecording ? "  ●" : "")
                        elide: Text.ElideRight
                    }
                    Label {
                        text: Qt.formatDateTime(date, "d MMM yyyy, HH:mm")
                        opacity: 0.6
                    }
                    Label {
                        text: Math.round(duration / 60) + " min"
                        opacity: 0.6
                    }
                }
            }
        }
    }
}
