import QtQuick
import Tarnwick

// Beside the wedge: the output's symbol and the level, or "Muted".
Row {
    id: readout
    spacing: 4
    readonly property bool muted: SystemVolume.isMuted

    Accessible.role: Accessible.StaticText
    Accessible.name: "Volume"
    Accessible.description: VolumeText.accessibilityValue(SystemVolume.level, readout.muted)

    Text {
        anchors.verticalCenter: parent.verticalCenter
        text: readout.muted ? "volume_off" : (SystemVolume.outputSymbol.length > 0 ? SystemVolume.outputSymbol : "volume_up")
        font.family: NookStyle.iconFont
        font.pixelSize: 14
        color: NookStyle.secondaryText
        Accessible.ignored: true
    }
    Text {
        anchors.verticalCenter: parent.verticalCenter
        text: VolumeText.readout(SystemVolume.level, readout.muted)
        font.pixelSize: NookStyle.captionSize
        color: NookStyle.secondaryText
        width: 30
        Accessible.ignored: true
    }
}
