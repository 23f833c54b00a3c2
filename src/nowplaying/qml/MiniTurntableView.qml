import QtQuick
import Tarnwick

// The left playback wing beside the closed notch: a small record with the
// cover, turning while the track plays.
Item {
    id: mini
    readonly property var service: NowPlayingService

    implicitWidth: 24
    implicitHeight: 24

    SpinningRecord {
        anchors.fill: parent
        spinning: mini.service.isPlaying
        cover: mini.service.artwork
        hasCover: mini.service.hasArtwork
        labelColor: mini.service.labelColor
    }
}
