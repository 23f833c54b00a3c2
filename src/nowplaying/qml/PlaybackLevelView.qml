import QtQuick
import Tarnwick

// The right playback wing: four bars in the album's colour that dance while
// the track plays and settle low when it pauses. They move only while
// something plays and the wing is shown.
Item {
    id: level
    readonly property var service: NowPlayingService
    readonly property bool moving: service.isPlaying && visible
    readonly property color tint: service.highlightColor

    implicitWidth: 20
    implicitHeight: 16

    Accessible.role: Accessible.Graphic
    Accessible.name: service.isPlaying ? qsTr("Playing: %1").arg(service.title) : qsTr("Paused")

    // The bars are stepped by the shared playback clock at 10 frames a
    // second rather than animated at 60: at 16 pixels tall the dance reads
    // the same, and it runs for as long as the music does.
    property real phase: 0
    onMovingChanged: PlaybackClock.users += moving ? 1 : -1
    Component.onCompleted: if (moving) PlaybackClock.users += 1
    Component.onDestruction: if (moving) PlaybackClock.users -= 1
    Connections {
        target: PlaybackClock
        enabled: level.moving
        function onTicked(milliseconds) { level.phase += milliseconds }
    }

    // Each bar has its own pace and reach so the motion never lines up.
    readonly property var bars: [ { period: 430, low: 0.30, high: 0.95 },
                                  { period: 610, low: 0.25, high: 0.75 },
                                  { period: 370, low: 0.35, high: 1.00 },
                                  { period: 530, low: 0.20, high: 0.70 } ]
    // Rises and falls like an eased swing between low and high; settles low
    // while paused.
    function barHeight(bar) {
        const swing = (1 - Math.cos(2 * Math.PI * phase / bar.period)) / 2
        const reach = moving ? bar.low + (bar.high - bar.low) * swing : 0.25
        return Math.max(3, height * reach)
    }
    // The bars stand on a common line that sits as low as the tallest bar
    // reaches below the middle, so the group stays centred as it dances.
    readonly property real standLine: (height + Math.max(...bars.map(bar => barHeight(bar)))) / 2

    Row {
        anchors.centerIn: parent
        spacing: 2
        Repeater {
            model: level.bars
            // Each bar stands in a slot of fixed size, so a bar growing does
            // not make the row lay itself out again (which cost a second
            // frame per step).
            Item {
                id: slot
                required property var modelData
                width: 3
                height: level.height
                Rectangle {
                    readonly property real barHeight: level.barHeight(slot.modelData)
                    y: level.standLine - barHeight
                    width: 3
                    height: barHeight
                    radius: 1.5
                    color: level.tint
                }
            }
        }
    }
}
