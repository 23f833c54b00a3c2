import QtQuick
import QtQuick.Controls.Basic
import Tarnwick

// One capsule per enabled page; the current one is longer. A tap shows
// that page.
Row {
    id: dots
    required property NotchViewModel model
    spacing: 6
    height: 16

    Repeater {
        model: dots.model.pages
        delegate: AbstractButton {
            id: dot
            required property var modelData
            required property int index
            readonly property bool current: index === dots.model.visibleIndex
            width: current ? 18 : 7
            height: 16
            hoverEnabled: true
            focusPolicy: Qt.TabFocus
            Accessible.role: Accessible.PageTab
            Accessible.name: NookLayout.pageTitle(modelData)
            Accessible.selected: current
            ToolTip.visible: hovered
            ToolTip.delay: 600
            ToolTip.text: NookLayout.pageDotHelp(modelData, current)
            onClicked: dots.model.show(modelData)
            Behavior on width { NumberAnimation { duration: 180; easing.type: Easing.OutCubic } }

            background: Item {
                Rectangle {
                    anchors.centerIn: parent
                    width: dot.width
                    height: 7
                    radius: 3.5
                    color: dot.current ? NookStyle.primaryText
                         : dot.hovered ? NookStyle.secondaryText : NookStyle.tertiaryText
                }
                // A ring around the capsule: a border on something seven
                // pixels high would be lost.
                Rectangle {
                    anchors.centerIn: parent
                    visible: dot.visualFocus
                    width: dot.width + 6
                    height: 13
                    radius: 6.5
                    color: "transparent"
                    border.width: 1.5
                    border.color: NookStyle.focusRing
                }
            }
        }
    }
}
