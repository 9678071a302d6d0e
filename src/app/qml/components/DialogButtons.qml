import QtQuick
import QtQuick.Layouts

// The button row of an AppDialog, right-aligned in the order written: the default button last.
Item {
    default property alias buttons: row.data
    implicitHeight: row.implicitHeight + 24
    implicitWidth: row.implicitWidth + 40
    RowLayout {
        id: row
        anchors.right: parent.right
        anchors.rightMargin: 20
        anchors.top: parent.top
        anchors.topMargin: 4
        spacing: 8
    }
}
