import QtQuick
import Tarnwick

// In the volume band while AirPods play: their glyph and every battery they
// report, where the volume wedge would be.
Row {
    id: detail
    spacing: 8

    Accessible.role: Accessible.StaticText
    Accessible.name: AirPodsBattery.levels.summary

    Text {
        anchors.verticalCenter: parent.verticalCenter
        text: AirPodsBattery.levels.symbol
        font.family: NookStyle.iconFont
        font.pixelSize: 16
        color: NookStyle.secondaryText
        Accessible.ignored: true
    }
    Repeater {
        model: AirPodsBattery.levels.cells
        AirPodsLevelCell {
            required property var modelData
            anchors.verticalCenter: parent.verticalCenter
            battery: modelData
            withPercent: true
        }
    }
}
