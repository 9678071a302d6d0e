import QtQuick
import Ondel.App

// A line icon by its symbol name, in any colour.
Item {
    id: icon
    property string symbol
    property color color: Ondel.ink
    property real size: 16

    implicitWidth: size
    implicitHeight: size

    Image {
        anchors.fill: parent
        sourceSize: Qt.size(Math.ceil(icon.size * 2), Math.ceil(icon.size * 2))
        source: icon.symbol.length > 0 ? "image://icon/" + icon.symbol + "?color=" + encodeURIComponent(String(icon.color)) : ""
        fillMode: Image.PreserveAspectFit
        smooth: true
    }
}
