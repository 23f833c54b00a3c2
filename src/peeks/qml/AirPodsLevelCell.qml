import QtQuick
import Tarnwick

// One battery of a pair of AirPods: its level over its short name. A low
// battery is drawn in red.
Column {
    id: cell
    required property var battery
    // The peek's narrow sides leave out the sign; a battery without a label
    // (a headset's only one) always has it.
    property bool withPercent: false

    readonly property color tone: cell.battery.low ? NookStyle.destructive : NookStyle.primaryText

    Text {
        anchors.horizontalCenter: parent.horizontalCenter
        text: cell.withPercent || cell.battery.label === "" ? cell.battery.percent : cell.battery.value
        color: cell.tone
        font.pixelSize: NookStyle.captionSize
        font.bold: true
    }
    Text {
        anchors.horizontalCenter: parent.horizontalCenter
        visible: text !== ""
        text: cell.battery.label
        color: cell.battery.low ? cell.tone : NookStyle.secondaryText
        font.pixelSize: 8
    }
}
