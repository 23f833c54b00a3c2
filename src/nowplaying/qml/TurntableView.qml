import QtQuick
import Tarnwick

// The turntable of the Now Playing page: a plinth in the album's colour, the
// spinning record with the cover as its label, and a tonearm that swings
// onto the record while the track plays.
Item {
    id: turntable

    property bool playing: false
    property bool hasCover: false
    property var cover
    property color accent: NookStyle.surface
    property color labelColor: NookStyle.surfaceHover

    implicitWidth: 104
    implicitHeight: 104

    Rectangle {
        id: plinth
        anchors.fill: parent
        radius: 14
        gradient: Gradient {
            GradientStop { position: 0; color: Qt.lighter(turntable.accent, 1.35) }
            GradientStop { position: 1; color: turntable.accent }
        }
        border.width: 1
        border.color: Qt.rgba(1, 1, 1, 0.08)
    }

    SpinningRecord {
        id: record
        x: 6
        y: (parent.height - height) / 2
        width: parent.width * 0.82
        height: width
        spinning: turntable.playing
        cover: turntable.cover
        hasCover: turntable.hasCover
        labelColor: turntable.labelColor
    }

    // The tonearm pivots near the top right corner.
    Item {
        id: arm
        readonly property real restAngle: -4
        readonly property real playAngle: 24
        x: parent.width - 13
        y: 11
        rotation: turntable.playing ? playAngle : restAngle
        Behavior on rotation { NumberAnimation { duration: 650; easing.type: Easing.InOutCubic } }

        Rectangle { // arm tube, hanging down from the pivot
            x: -1.25
            y: 0
            width: 2.5
            height: turntable.height * 0.58
            radius: 1.25
            color: "#c9c9ce"
        }
        Rectangle { // headshell
            x: -3
            y: turntable.height * 0.58 - 2
            width: 6
            height: 11
            radius: 1.5
            color: "#e6e6ea"
            rotation: 18
            transformOrigin: Item.Top
        }
        Rectangle { // counterweight behind the pivot
            x: -3.5
            y: -8
            width: 7
            height: 7
            radius: 2
            color: "#8e8e93"
        }
    }
    Rectangle { // pivot
        x: arm.x - 5
        y: arm.y - 5
        width: 10
        height: 10
        radius: 5
        color: "#3a3a3e"
        border.width: 1.5
        border.color: "#a1a1a6"
    }
}
