import QtQuick
import Tarnwick

// One file: its picture, its name, and for the user's own tray a small
// remove button. Dragging the picture hands the file out; a double click
// opens it.
Item {
    id: tile

    required property url url
    required property string name
    property bool removable: false
    property string removeName
    property string removeHelp
    signal removeRequested(url url)

    width: 64
    height: 70
    Accessible.role: Accessible.ListItem
    Accessible.name: name

    HoverHandler { id: hover }

    Rectangle {
        anchors.fill: parent
        radius: 8
        color: drag.dragging ? NookStyle.surfacePressed : hover.hovered ? NookStyle.surface : "transparent"
        Behavior on color { ColorAnimation { duration: NookStyle.hoverFadeMs } }
    }

    Image {
        id: picture
        x: (parent.width - 44) / 2
        y: 4
        width: 44
        height: 44
        // Re-evaluated when any preview arrives; the source changes only for
        // this file's own.
        source: ThumbnailCache.revision >= 0 ? ThumbnailCache.source(tile.url) : ""
        sourceSize.width: 96
        sourceSize.height: 96
        fillMode: Image.PreserveAspectFit
        asynchronous: false
        smooth: true
        mipmap: true
        opacity: drag.dragging ? 0.5 : 1
    }

    FileDragSource {
        id: drag
        anchors.fill: picture
        url: tile.url
    }

    Text {
        anchors.top: picture.bottom
        anchors.topMargin: 4
        anchors.horizontalCenter: parent.horizontalCenter
        width: parent.width - 4
        text: tile.name
        color: NookStyle.primaryText
        font.pixelSize: NookStyle.smallSize
        horizontalAlignment: Text.AlignHCenter
        elide: Text.ElideMiddle
        maximumLineCount: 1
    }

    NookIconButton {
        id: removeButton
        visible: tile.removable
        x: parent.width - width + 2
        y: -2
        diameter: 18
        glyphSize: 12
        symbol: "close"
        text: tile.removeName
        help: tile.removeHelp
        opacity: hover.hovered || visualFocus || hovered ? 1 : 0
        Behavior on opacity { NumberAnimation { duration: NookStyle.hoverFadeMs } }
        background: Rectangle {
            radius: width / 2
            color: removeButton.down ? "#5a5a5f" : removeButton.hovered ? "#4a4a4f" : "#3a3a3e"
            border.width: removeButton.visualFocus ? 1.5 : 0.5
            border.color: removeButton.visualFocus ? NookStyle.focusRing : Qt.rgba(0, 0, 0, 0.6)
        }
        onClicked: tile.removeRequested(tile.url)
    }
}
