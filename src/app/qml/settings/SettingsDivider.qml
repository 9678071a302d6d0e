import QtQuick
import QtQuick.Layouts
import Ondel.App

// The line between rows, starting under their titles.
Rectangle {
    Layout.fillWidth: true
    Layout.leftMargin: 56
    implicitHeight: 0.5
    color: Ondel.hairline
}
