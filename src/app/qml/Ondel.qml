pragma Singleton
import QtQuick
import Ondel.App

// The look: one warm accent, and surfaces made of the ink at a low opacity, so that light and
// dark follow from the ink alone.
QtObject {
    readonly property bool dark: App.dark

    readonly property color accent: Qt.rgba(0.871, 0.302, 0.22, 1)
    readonly property color ink: dark ? "#f2f2f4" : "#1d1d1f"
    readonly property color secondaryInk: inkAt(0.56)
    readonly property color tertiaryInk: inkAt(0.36)
    readonly property color cardFill: inkAt(0.045)
    readonly property color cardStroke: inkAt(0.07)
    readonly property color hairline: inkAt(0.1)
    readonly property color background: dark ? "#1c1c1e" : "#fbfaf8"
    readonly property color sidebar: dark ? "#242426" : "#f2f1ee"
    readonly property color selectionFill: inkAt(0.08)
    readonly property color raised: dark ? "#2c2c2e" : "#ffffff"

    readonly property string family: Qt.fontFamilies().indexOf("Inter") >= 0 ? "Inter" : Qt.application.font.family
    readonly property font label: Qt.font({ family: family, pixelSize: 10.5, weight: Font.DemiBold })
    readonly property font body: Qt.font({ family: family, pixelSize: 13.5 })

    function inkAt(opacity) {
        return Qt.rgba(ink.r, ink.g, ink.b, opacity)
    }
    function accentAt(opacity) {
        return Qt.rgba(accent.r, accent.g, accent.b, opacity)
    }
    function font(pixels, weight) {
        return Qt.font({ family: family, pixelSize: pixels, weight: weight === undefined ? Font.Normal : weight })
    }
}
