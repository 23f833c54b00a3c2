import QtQuick
import QtQuick.Controls.Basic
import Tarnwick

// Shown instead of the mirror while the camera cannot be used: what is
// wrong and, where the user can do something here, the button for it.
Item {
    id: panel

    required property MirrorDrawerModel drawer

    Column {
        anchors.centerIn: parent
        width: parent.width
        spacing: 6

        Text {
            anchors.horizontalCenter: parent.horizontalCenter
            text: panel.drawer.panelSymbol
            font.family: NookStyle.iconFont
            font.pixelSize: 28
            color: NookStyle.secondaryText
        }
        Text {
            width: parent.width
            horizontalAlignment: Text.AlignHCenter
            text: panel.drawer.panelText
            color: NookStyle.primaryText
            font.pixelSize: NookStyle.bodySize
            wrapMode: Text.Wrap
            maximumLineCount: 3
            elide: Text.ElideRight
        }
        Button {
            id: button
            anchors.horizontalCenter: parent.horizontalCenter
            visible: panel.drawer.panelButton.length > 0
            text: panel.drawer.panelButton
            padding: 0
            leftPadding: 14
            rightPadding: 14
            implicitHeight: 24
            hoverEnabled: true
            onClicked: panel.drawer.performPanelAction()
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
