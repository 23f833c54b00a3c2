import QtQuick
import QtQuick.Controls.Basic
import Tarnwick

// The row of source buttons in the tray's header: one capsule per source,
// the shown one lit.
Rectangle {
    id: picker

    required property var sources      // [{source, title, symbol}] in picker order
    required property int current      // the TraySource shown
    signal picked(int source)

    implicitWidth: row.implicitWidth + 4
    implicitHeight: 26
    radius: height / 2
    color: NookStyle.surface

    Accessible.role: Accessible.PageTabList
    Accessible.name: "Tray source"

    Row {
        id: row
        anchors.centerIn: parent
        spacing: 2

        Repeater {
            model: picker.sources

            AbstractButton {
                id: segment
                required property var modelData
                readonly property bool selected: segment.modelData.source === picker.current

                width: 34
                height: 22
                hoverEnabled: true
                focusPolicy: Qt.TabFocus
                checkable: false
                onClicked: picker.picked(segment.modelData.source)

                Accessible.role: Accessible.PageTab
                Accessible.name: segment.modelData.title
                Accessible.checked: selected
                ToolTip.visible: hovered
                ToolTip.delay: 700
                ToolTip.text: segment.modelData.title

                background: Rectangle {
                    radius: height / 2
                    color: segment.selected ? Qt.rgba(1, 1, 1, 0.2)
                         : segment.down ? NookStyle.surfacePressed
                         : segment.hovered ? NookStyle.surface : "transparent"
                    border.width: segment.visualFocus ? 1.5 : 0
                    border.color: NookStyle.focusRing
                    Behavior on color { ColorAnimation { duration: NookStyle.hoverFadeMs } }
                }
                contentItem: Text {
                    text: segment.modelData.symbol
                    font.family: NookStyle.iconFont
                    font.pixelSize: 16
                    color: segment.selected ? NookStyle.primaryText : NookStyle.secondaryText
                    horizontalAlignment: Text.AlignHCenter
                    verticalAlignment: Text.AlignVCenter
                    Behavior on color { ColorAnimation { duration: NookStyle.hoverFadeMs } }
                }
            }
        }
    }
}
