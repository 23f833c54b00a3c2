import QtQuick
import Tarnwick

// The empty tray's invitation; lit while files are dragged over the notch.
Item {
    id: zone

    property bool isTargeted: false
    property string title
    property string detail

    Accessible.role: Accessible.StaticText
    Accessible.name: title

    Rectangle {
        anchors.fill: parent
        anchors.margins: 2
        radius: NookStyle.cornerRadius
        color: zone.isTargeted ? Qt.rgba(NookStyle.accent.r, NookStyle.accent.g, NookStyle.accent.b, 0.16) : "transparent"
        border.width: 1.5
        border.color: zone.isTargeted ? NookStyle.accent : NookStyle.separator
        Behavior on color { ColorAnimation { duration: NookStyle.hoverFadeMs } }
        Behavior on border.color { ColorAnimation { duration: NookStyle.hoverFadeMs } }
    }

    Row {
        anchors.centerIn: parent
        spacing: 12

        Rectangle {
            width: 36
            height: 36
            radius: 10
            anchors.verticalCenter: parent.verticalCenter
            color: zone.isTargeted ? NookStyle.accent : NookStyle.surface
            Behavior on color { ColorAnimation { duration: NookStyle.hoverFadeMs } }

            Text {
                anchors.centerIn: parent
                text: "move_to_inbox"
                font.family: NookStyle.iconFont
                font.pixelSize: 20
                color: zone.isTargeted ? NookStyle.primaryText : NookStyle.secondaryText
            }
        }

        Column {
            anchors.verticalCenter: parent.verticalCenter
            spacing: 3
            Text {
                text: zone.title
                color: NookStyle.primaryText
                font.pixelSize: NookStyle.bodySize + 1
                font.weight: Font.DemiBold
            }
            Text {
                visible: !zone.isTargeted
                text: zone.detail
                color: NookStyle.secondaryText
                font.pixelSize: NookStyle.captionSize
            }
        }
    }
}
