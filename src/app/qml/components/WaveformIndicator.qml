import QtQuick
import Ondel.App

// Four bars that rise with the microphone's level; flat and faint while paused.
Row {
    id: wave
    property real level: 0
    property bool isPaused: false
    readonly property int barCount: 4
    readonly property real barWidth: 2.5
    readonly property real maxHeight: 16
    readonly property real minHeight: 3
    readonly property var weights: [0.6, 1.0, 0.8, 0.5]

    spacing: 2
    height: maxHeight

    Repeater {
        model: wave.barCount
        Rectangle {
            required property int index
            anchors.verticalCenter: parent.verticalCenter
            width: wave.barWidth
            radius: width / 2
            height: wave.isPaused ? wave.minHeight
                                  : Math.max(wave.minHeight, Math.min(wave.maxHeight,
                                        wave.minHeight + wave.weights[index] * (wave.maxHeight - wave.minHeight) * wave.level))
            color: wave.isPaused ? Ondel.inkAt(0.2) : Ondel.accentAt(0.85)
            Behavior on height {
                NumberAnimation {
                    duration: wave.isPaused ? 300 : 150
                    easing.type: wave.isPaused ? Easing.OutQuad : Easing.InOutQuad
                }
            }
        }
    }
}
