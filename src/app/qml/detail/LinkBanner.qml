import QtQuick
import QtQuick.Layouts
import Ondel.App

// An offer to link the meeting to the calendar event it seems to be.
Rectangle {
    id: banner
    property string eventTitle
    signal linkRequested()
    signal dismissed()

    implicitHeight: row.implicitHeight + 16
    radius: 10
    color: Ondel.cardFill
    border.width: 0.5
    border.color: Ondel.cardStroke

    RowLayout {
        id: row
        anchors.fill: parent
        anchors.leftMargin: 12
        anchors.rightMargin: 8
        spacing: 8
        Icon { symbol: "calendar"; size: 14; color: Ondel.secondaryInk }
        Text {
            Layout.fillWidth: true
            text: "Link to “" + banner.eventTitle + "”?"
            font: Ondel.font(12.5)
            color: Ondel.ink
            elide: Text.ElideRight
        }
        PillButton { text: "No thanks"; onClicked: banner.dismissed() }
        PillButton { text: "Link"; prominent: true; onClicked: banner.linkRequested() }
    }
}
