import QtQuick
import QtQuick.Controls.Basic
import Tarnwick

// The line that turns a typed sentence into an event. While it has the
// keyboard the Nook stays open and takes key presses; Return saves, Escape
// or leaving gives the keyboard back.
Rectangle {
    id: field

    required property CalendarDrawerModel drawer
    required property NotchViewModel model
    readonly property bool typing: input.activeFocus

    height: 26
    radius: height / 2
    color: input.activeFocus ? Qt.rgba(1, 1, 1, 0.12) : hover.hovered ? NookStyle.surfaceHover : NookStyle.surface
    border.width: input.activeFocus ? 1 : 0
    border.color: Qt.rgba(1, 1, 1, 0.35)
    Behavior on color { ColorAnimation { duration: NookStyle.hoverFadeMs } }

    function giveBack() {
        input.focus = false
        field.model.endTyping()
    }

    onVisibleChanged: if (!visible) giveBack()

    Text {
        id: plus
        anchors.left: parent.left
        anchors.leftMargin: 7
        anchors.verticalCenter: parent.verticalCenter
        text: "add_circle"
        font.family: NookStyle.iconFont
        font.pixelSize: 16
        color: input.activeFocus ? NookStyle.accent : NookStyle.secondaryText
    }

    TextField {
        id: input
        anchors.left: plus.right
        anchors.leftMargin: 4
        anchors.right: parent.right
        anchors.rightMargin: 10
        anchors.verticalCenter: parent.verticalCenter
        padding: 0
        background: null
        color: NookStyle.primaryText
        selectionColor: NookStyle.accent
        selectedTextColor: "white"
        placeholderText: field.drawer.placeholder
        placeholderTextColor: NookStyle.tertiaryText
        font.pixelSize: NookStyle.bodySize
        text: field.drawer.text
        onTextEdited: field.drawer.text = text
        Accessible.name: "Quick add"
        Accessible.description: field.drawer.readBack

        onActiveFocusChanged: {
            if (activeFocus)
                field.model.beginTyping()
            else
                field.model.endTyping()
        }
        Keys.onReturnPressed: {
            if (field.drawer.submit())
                field.giveBack()
        }
        Keys.onEnterPressed: {
            if (field.drawer.submit())
                field.giveBack()
        }
        Keys.onEscapePressed: field.giveBack()
    }

    HoverHandler { id: hover; cursorShape: Qt.IBeamCursor }
}
