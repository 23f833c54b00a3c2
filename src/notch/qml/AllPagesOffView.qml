import QtQuick
import QtQuick.Controls.Basic
import Tarnwick

// What the Nook shows when both pages are switched off.
Item {
    id: off
    signal openSettings()

    Column {
        anchors.centerIn: parent
        spacing: 4
        Text {
            anchors.horizontalCenter: parent.horizontalCenter
            text: "All pages are off"
            color: NookStyle.primaryText
            font.pixelSize: 14
            font.weight: Font.DemiBold
            padding: 12
            bottomPadding: 4
        }
        Button {
            id: button
            anchors.horizontalCenter: parent.horizontalCenter
            text: "Open Settings"
            font.pixelSize: 11
            padding: 4
            leftPadding: 12
            rightPadding: 12
            hoverEnabled: true
            onClicked: off.openSettings()
            contentItem: Text {
                text: button.text
                font: button.font
                color: NookStyle.primaryText
                horizontalAlignment: Text.AlignHCenter
                verticalAlignment: Text.AlignVCenter
            }
            background: Rectangle {
                radius: height / 2
                color: button.down ? NookStyle.surfacePressed : button.hovered ? NookStyle.surfaceHover : NookStyle.surface
                border.width: button.visualFocus ? 1.5 : 0
                border.color: NookStyle.focusRing
            }
        }
    }
}
