import QtQuick
import Tarnwick

// What grows out of the closed notch when AirPods connect or run low. Left
// of the notch their glyph and the left bud, right of it the right bud and
// the case (or a headset's one battery).
Item {
    id: peek
    required property airPodsLevels levels
    // The width added on each side of the notch, and how much of it the
    // outline's rounded lower corners take.
    property real sideWidth: 74
    property real cornerInset: 12

    Accessible.role: Accessible.StaticText
    Accessible.name: peek.levels.summary

    Row {
        objectName: "airPodsPeekLeft"
        x: peek.cornerInset + (peek.sideWidth - peek.cornerInset - width) / 2
        anchors.verticalCenter: parent.verticalCenter
        spacing: 6
        Text {
            anchors.verticalCenter: parent.verticalCenter
            text: peek.levels.symbol
            font.family: NookStyle.iconFont
            font.pixelSize: 18
            color: NookStyle.primaryText
            Accessible.ignored: true
        }
        Repeater {
            model: peek.levels.leftCells
            AirPodsLevelCell {
                required property var modelData
                anchors.verticalCenter: parent.verticalCenter
                battery: modelData
            }
        }
    }
    Row {
        objectName: "airPodsPeekRight"
        x: peek.width - peek.sideWidth + (peek.sideWidth - peek.cornerInset - width) / 2
        anchors.verticalCenter: parent.verticalCenter
        spacing: 6
        Repeater {
            model: peek.levels.rightCells
            AirPodsLevelCell {
                required property var modelData
                anchors.verticalCenter: parent.verticalCenter
                battery: modelData
            }
        }
    }
}
