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

    Item {
        id: disc
        anchors.fill: parent

        Rectangle {
            anchors.fill: parent
            radius: width / 2
            color: "#0d0d0f"
            border.width: 1
            border.color: Qt.rgba(1, 1, 1, 0.10)
        }

        // Grooves: faint rings between the rim and the label.
        Repeater {
            model: 6
            Rectangle {
                required property int index
                readonly property real inset: record.width * (0.06 + index * 0.055)
                x: inset
                y: inset
                width: record.width - 2 * inset
                height: width
                radius: width / 2
                color: "transparent"
                border.width: 1
                border.color: Qt.rgba(1, 1, 1, index % 2 === 0 ? 0.045 : 0.03)
            }
        }

        Rectangle {
            id: labelBackdrop
            anchors.centerIn: parent
            width: parent.width * 0.44
            height: width
            radius: width / 2
            color: record.labelColor
        }
        ArtworkImage {
            anchors.fill: labelBackdrop
            round: true
            image: record.cover
            visible: record.hasCover
        }
        // A notch on the label, so a turning record without a cover still
        // shows that it turns.
        Rectangle {
            visible: !record.hasCover
            x: labelBackdrop.x + labelBackdrop.width / 2 - width / 2
            y: labelBackdrop.y + 3
            width: 2
            height: labelBackdrop.height * 0.22
            radius: 1
            color: Qt.rgba(1, 1, 1, 0.35)
        }
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
