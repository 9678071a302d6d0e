import QtQuick
import QtQuick.Layouts
import Ondel.App

// A rounded surface for a group of rows.
Rectangle {
    default property alias content: rows.data

    Layout.fillWidth: true
    implicitHeight: rows.implicitHeight
    radius: 10
    color: Ondel.cardFill
    border.width: 0.5
    border.color: Ondel.cardStroke

    ColumnLayout {
        id: rows
        width: parent.width
        spacing: 0
    }
}
