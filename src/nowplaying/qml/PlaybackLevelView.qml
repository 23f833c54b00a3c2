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

    Row {
        anchors.centerIn: parent
        spacing: 2
        Repeater {
            // Each bar has its own pace and reach so the motion never lines up.
            model: [ { period: 430, low: 0.30, high: 0.95 },
                     { period: 610, low: 0.25, high: 0.75 },
                     { period: 370, low: 0.35, high: 1.00 },
                     { period: 530, low: 0.20, high: 0.70 } ]
            Rectangle {
                id: bar
                required property var modelData
                property real reach: 0.25
                width: 3
                height: Math.max(3, level.height * bar.reach)
                anchors.bottom: parent ? parent.bottom : undefined
                radius: 1.5
                color: level.tint

                SequentialAnimation {
                    running: level.moving
                    loops: Animation.Infinite
                    NumberAnimation { target: bar; property: "reach"; to: bar.modelData.high; duration: bar.modelData.period / 2; easing.type: Easing.InOutSine }
                    NumberAnimation { target: bar; property: "reach"; to: bar.modelData.low; duration: bar.modelData.period / 2; easing.type: Easing.InOutSine }
                    // Settles low when playback pauses.
                    onRunningChanged: if (!running) settle.start()
                }
                NumberAnimation { id: settle; target: bar; property: "reach"; to: 0.25; duration: 250 }
            }
        }
    }
}
