import QtQuick
import QtQuick.Layouts
import Ondel.App

// One step of the tour: a symbol, the title, the message, and the step's own controls under it.
ColumnLayout {
    id: step
    property string symbol
    property string title
    property string message
    default property alias footer: footerColumn.data

    spacing: 0

    Icon {
        objectName: "stepSymbol"
        Layout.alignment: Qt.AlignHCenter
        Layout.bottomMargin: 18
        visible: step.symbol.length > 0
        symbol: step.symbol
        size: 44
        color: Ondel.inkAt(0.72)
    }
    Text {
        objectName: "stepTitle"
        Layout.fillWidth: true
        text: step.title
        horizontalAlignment: Text.AlignHCenter
        font: Ondel.font(23, Font.Medium)
        color: Ondel.ink
        wrapMode: Text.Wrap
        Accessible.role: Accessible.Heading
        Accessible.name: text
    }
    Text {
        objectName: "stepMessage"
        Layout.fillWidth: true
        Layout.topMargin: 10
        text: step.message
        horizontalAlignment: Text.AlignHCenter
        font: Ondel.font(12.5)
        lineHeight: 1.25
        color: Ondel.secondaryInk
        wrapMode: Text.Wrap
    }
    ColumnLayout {
        id: footerColumn
        Layout.fillWidth: true
        Layout.topMargin: 24
        spacing: 10
    }
}
