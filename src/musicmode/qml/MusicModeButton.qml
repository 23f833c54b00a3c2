import QtQuick
import Tarnwick

// Music mode's switch on the Now Playing page. Lit in the album's colour
// while on; absent where the desktop can show neither a poster nor a tint.
NookIconButton {
    id: button
    objectName: "musicModeButton"

    property color highlight: "white"

    visible: MusicMode.isAvailable
    symbol: "wallpaper"
    text: qsTr("Music mode")
    help: MusicMode.helpText
    prominent: MusicMode.isOn
    tint: MusicMode.isOn ? highlight : NookStyle.tertiaryText
    Accessible.checkable: true
    Accessible.checked: MusicMode.isOn
    onClicked: MusicMode.toggle()
}
