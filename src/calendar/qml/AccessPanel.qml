import QtQuick
import QtQuick.Controls.Basic
import Tarnwick

// Shown instead of the day when the calendar cannot be read: what is wrong
// and, where there is one, the button that fixes it.
Item {
    id: panel

    required property CalendarDrawerModel drawer

    Column {
        anchors.centerIn: parent
        width: parent.width
        spacing: 4

        Text {
            anchors.horizontalCenter: parent.horizontalCenter
            text: panel.drawer.accessSymbol
            font.family: NookStyle.iconFont
            font.pixelSize: 24
            color: NookStyle.accent
        }
        Text {
            width: parent.width
            horizontalAlignment: Text.AlignHCenter
            text: panel.drawer.accessTitle
            color: NookStyle.primaryText
            font.pixelSize: NookStyle.titleSize - 1
            font.weight: Font.DemiBold
            wrapMode: Text.Wrap
            Accessible.role: Accessible.Heading
        }
        Text {
            width: parent.width
            horizontalAlignment: Text.AlignHCenter
            text: panel.drawer.accessText
            color: NookStyle.secondaryText
            font.pixelSize: NookStyle.captionSize
            lineHeight: 1.1
            wrapMode: Text.Wrap
            maximumLineCount: 3
            elide: Text.ElideRight
        }
        Item { width: 1; height: 2; visible: button.visible }
        Button {
            id: button
            anchors.horizontalCenter: parent.horizontalCenter
            visible: panel.drawer.accessButton.length > 0
            text: panel.drawer.accessButton
            padding: 0
            leftPadding: 14
            rightPadding: 14
            implicitHeight: 24
            hoverEnabled: true
            onClicked: panel.drawer.performAccessAction()
            Accessible.name: text
            contentItem: Text {
                text: button.text
                color: "white"
                font.pixelSize: NookStyle.captionSize
                font.weight: Font.DemiBold
                horizontalAlignment: Text.AlignHCenter
                verticalAlignment: Text.AlignVCenter
            }
            background: Rectangle {
                radius: height / 2
                color: button.down ? Qt.darker(NookStyle.accent, 1.25)
                     : button.hovered ? Qt.lighter(NookStyle.accent, 1.12) : NookStyle.accent
                border.width: button.visualFocus ? 1.5 : 0
                border.color: NookStyle.focusRing
            }
        }
    }
}
