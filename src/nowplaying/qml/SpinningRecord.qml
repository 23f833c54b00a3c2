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

    NumberAnimation {
        target: disc
        property: "rotation"
        from: 0
        to: 360
        duration: 360 / record.degreesPerSecond * 1000
        loops: Animation.Infinite
        running: true
        paused: !(record.spinning && record.visible)
    }
}
