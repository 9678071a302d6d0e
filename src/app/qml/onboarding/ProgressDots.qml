import QtQuick
import Ondel.App

// One dot per step; the current one drawn long, the ones passed in full ink.
Row {
    id: dots
    property int count: 6
    property int current: 0

    spacing: 6
    Accessible.role: Accessible.Indicator
    Accessible.name: "Step " + (current + 1) + " of " + count

    Repeater {
        model: dots.count
        Rectangle {
            required property int index
            width: index === dots.current ? 18 : 6
            height: 6
            radius: 3
            color: index <= dots.current ? Ondel.inkAt(0.75) : Ondel.inkAt(0.16)
            Behavior on width { NumberAnimation { duration: 300; easing.type: Easing.InOutQuad } }
            Behavior on color { ColorAnimation { duration: 300; easing.type: Easing.InOutQuad } }
        }
    }
}
