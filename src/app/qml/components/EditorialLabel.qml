import QtQuick
import Ondel.App

// A small heading: capitals, tracked out.
Text {
    property color tint: Ondel.secondaryInk
    font.family: Ondel.label.family
    font.pixelSize: Ondel.label.pixelSize
    font.weight: Ondel.label.weight
    font.letterSpacing: 1.3
    font.capitalization: Font.AllUppercase
    color: tint
    elide: Text.ElideRight
}
