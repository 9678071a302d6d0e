import QtQuick
import Ondel.App

// The pulsing red dot of a recording.
Rectangle {
    property real size: 7
    width: size
    height: size
    radius: size / 2
    color: Ondel.accent

    SequentialAnimation on opacity {
        loops: Animation.Infinite
        running: visible
        NumberAnimation { from: 1.0; to: 0.45; duration: 900; easing.type: Easing.InOutQuad }
        NumberAnimation { from: 0.45; to: 1.0; duration: 900; easing.type: Easing.InOutQuad }
    }
}
