import QtQuick
import Tarnwick

// Beside the wedge: the output's symbol and the level, or "Muted".
Row {
    id: readout
    spacing: 4

    Accessible.role: Accessible.StaticText
    Accessible.name: "Volume"
    Accessible.description: SystemVolume.accessibilityValue

    Text {
        anchors.verticalCenter: parent.verticalCenter
        text: SystemVolume.readoutSymbol
        font.family: NookStyle.iconFont
        font.pixelSize: 14
        color: NookStyle.secondaryText
        Accessible.ignored: true
    }
    Text {
        anchors.verticalCenter: parent.verticalCenter
        text: SystemVolume.readout
        font.pixelSize: NookStyle.captionSize
        color: NookStyle.secondaryText
        width: 30
        Accessible.ignored: true
    }
}
