import QtQuick
import QtQuick.Shapes
import Tarnwick

// A vinyl record with the cover as its label. It turns at 45 degrees a
// second while `spinning`; when it stops it halts where it stands and later
// resumes from there. The animation is paused (and with it the frame
// timeline) whenever the record stands still or cannot be seen.
Item {
    id: record

    property bool spinning: false
    property var cover
    property bool hasCover: false
    property color labelColor: NookStyle.surfaceHover
    readonly property real degreesPerSecond: 45
    // The current angle, for tests and for a view that wants to follow it.
    readonly property alias angle: disc.rotation

    implicitWidth: 88
    implicitHeight: 88

    Accessible.role: Accessible.Graphic
    Accessible.name: spinning ? qsTr("Record turning") : qsTr("Record at rest")

    RecordFace {
        id: disc
        anchors.fill: parent
        cover: record.cover
        showsCover: record.hasCover
        labelColor: record.labelColor
    }

    // Light on the vinyl stays where the lamp is: it does not turn.
    Shape {
        anchors.fill: parent
        ShapePath {
            strokeColor: "transparent"
            fillGradient: ConicalGradient {
                centerX: record.width / 2
                centerY: record.height / 2
                angle: 35
                GradientStop { position: 0.00; color: Qt.rgba(1, 1, 1, 0.0) }
                GradientStop { position: 0.08; color: Qt.rgba(1, 1, 1, 0.09) }
                GradientStop { position: 0.16; color: Qt.rgba(1, 1, 1, 0.0) }
                GradientStop { position: 0.50; color: Qt.rgba(1, 1, 1, 0.0) }
                GradientStop { position: 0.58; color: Qt.rgba(1, 1, 1, 0.07) }
                GradientStop { position: 0.66; color: Qt.rgba(1, 1, 1, 0.0) }
                GradientStop { position: 1.00; color: Qt.rgba(1, 1, 1, 0.0) }
            }
            PathAngleArc {
                centerX: record.width / 2
                centerY: record.height / 2
                radiusX: record.width / 2 - 1
                radiusY: record.height / 2 - 1
                startAngle: 0
                sweepAngle: 360
            }
        }
    }

    // The spindle.
    Rectangle {
        anchors.centerIn: parent
        width: Math.max(3, record.width * 0.05)
        height: width
        radius: width / 2
        color: "#d8d8dc"
    }

    // The record turns in steps, one whenever its rim has moved about a
    // pixel, where a running animation would ask for sixty frames a second
    // and keep the renderer busy for hours of music. The turntable's record
    // needs some thirty; a record small enough to need no more than the
    // shared playback clock's ten (the one beside the notch) steps with it,
    // in the same frames as the level bars of the other wing.
    readonly property real rimPixelsPerSecond: Math.PI * width * degreesPerSecond / 360
    readonly property int stepInterval: Math.max(16, Math.round(1000 / Math.max(1, rimPixelsPerSecond)))
    readonly property bool sharesClock: stepInterval >= PlaybackClock.interval
    readonly property bool turning: spinning && visible
    readonly property bool onSharedClock: turning && sharesClock
    function step(milliseconds) { disc.rotation = (disc.rotation + degreesPerSecond * milliseconds / 1000) % 360 }

    onOnSharedClockChanged: PlaybackClock.users += onSharedClock ? 1 : -1
    Component.onCompleted: if (onSharedClock) PlaybackClock.users += 1
    Component.onDestruction: if (onSharedClock) PlaybackClock.users -= 1
    Connections {
        target: PlaybackClock
        enabled: record.onSharedClock
        function onTicked(milliseconds) { record.step(milliseconds) }
    }
    Timer {
        interval: record.stepInterval
        repeat: true
        running: record.turning && !record.sharesClock
        onTriggered: record.step(interval)
    }
}
