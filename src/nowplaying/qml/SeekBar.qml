import QtQuick
import QtQuick.Controls.Basic
import Tarnwick

// The play head as a thin bar. The knob shows on hover and while dragging;
// the position seeks while it is dragged and once more on release.
Slider {
    id: bar

    property color fill: "white"
    // Called with a position in seconds while dragging and on release.
    signal seekRequested(real seconds)

    from: 0
    padding: 0
    implicitHeight: 14
    focusPolicy: Qt.TabFocus
    hoverEnabled: true
    live: true

    Accessible.name: qsTr("Position")

    onMoved: seekRequested(value)
    onPressedChanged: if (!pressed) seekRequested(value)

    background: Item {
        x: bar.leftPadding
        y: bar.topPadding + bar.availableHeight / 2 - height / 2
        width: bar.availableWidth
        height: bar.hovered || bar.pressed ? 5 : 3
        Behavior on height { NumberAnimation { duration: NookStyle.hoverFadeMs } }

        Rectangle {
            anchors.fill: parent
            radius: height / 2
            color: Qt.rgba(1, 1, 1, 0.16)
        }
        Rectangle {
            width: bar.visualPosition * parent.width
            height: parent.height
            radius: height / 2
            color: bar.fill
        }
        Rectangle { // keyboard focus ring
            anchors.fill: parent
            anchors.margins: -3
            radius: height / 2
            color: "transparent"
            border.width: bar.visualFocus ? 1.5 : 0
            border.color: NookStyle.focusRing
        }
    }

    handle: Rectangle {
        x: bar.leftPadding + bar.visualPosition * bar.availableWidth - width / 2
        y: bar.topPadding + bar.availableHeight / 2 - height / 2
        width: 11
        height: 11
        radius: 5.5
        color: "white"
        opacity: bar.hovered || bar.pressed || bar.visualFocus ? 1 : 0
        scale: bar.pressed ? 1.15 : 1
        Behavior on opacity { NumberAnimation { duration: NookStyle.hoverFadeMs } }
        Behavior on scale { NumberAnimation { duration: 90 } }
    }
}
