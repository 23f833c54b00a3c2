import QtQuick
import QtQuick.Controls.Basic
import Tarnwick

// The round icon button shared by every page and drawer of the Nook.
// `symbol` is a Material Icons ligature ("play_arrow"), `text` the
// accessible name, `help` the tooltip.
AbstractButton {
    id: control

    property string symbol
    property string help
    property real diameter: 28
    property real glyphSize: Math.round(diameter * 0.62)
    property color tint: NookStyle.primaryText
    // A filled disc behind the glyph, for the one main action of a row.
    property bool prominent: false

    implicitWidth: diameter
    implicitHeight: diameter
    hoverEnabled: true
    focusPolicy: Qt.TabFocus
    padding: 0

    Accessible.role: Accessible.Button
    Accessible.name: text
    Accessible.description: help

    ToolTip.visible: hovered && help.length > 0
    ToolTip.delay: 700
    ToolTip.text: help

    background: Rectangle {
        radius: width / 2
        color: control.down ? NookStyle.surfacePressed
             : control.prominent ? NookStyle.surfaceHover
             : control.hovered ? NookStyle.surface : "transparent"
        border.width: control.visualFocus ? 1.5 : 0
        border.color: NookStyle.focusRing
        Behavior on color { ColorAnimation { duration: NookStyle.hoverFadeMs } }
    }

    contentItem: Text {
        text: control.symbol
        font.family: NookStyle.iconFont
        font.pixelSize: control.glyphSize
        color: control.enabled ? control.tint : NookStyle.tertiaryText
        horizontalAlignment: Text.AlignHCenter
        verticalAlignment: Text.AlignVCenter
    }

    scale: down ? 0.92 : 1
    Behavior on scale { NumberAnimation { duration: 90 } }
}
