import QtQuick
import Tarnwick

// One event of the day: its calendar's colour, title, time line, and a Join
// button when it has a call link.
Item {
    id: rowItem

    required property var row
    signal joinRequested(url url)

    height: 26
    Accessible.role: Accessible.ListItem
    Accessible.name: row.title + ", " + row.detail

    Rectangle {
        anchors.fill: parent
        radius: 7
        color: rowItem.row.isNow ? Qt.rgba(1, 1, 1, 0.10) : hover.hovered ? NookStyle.surface : "transparent"
        Behavior on color { ColorAnimation { duration: NookStyle.hoverFadeMs } }
    }

    Rectangle {
        id: bar
        x: 6
        anchors.verticalCenter: parent.verticalCenter
        width: 3
        height: parent.height - 8
        radius: 1.5
        color: rowItem.row.color
    }

    Column {
        anchors.left: bar.right
        anchors.leftMargin: 7
        anchors.right: join.visible ? join.left : parent.right
        anchors.rightMargin: 6
        anchors.verticalCenter: parent.verticalCenter
        spacing: 0

        Text {
            width: parent.width
            text: rowItem.row.title
            color: NookStyle.primaryText
            font.pixelSize: NookStyle.bodySize
            font.weight: Font.Medium
            elide: Text.ElideRight
        }
        Text {
            width: parent.width
            text: rowItem.row.detail
            color: rowItem.row.isNow ? NookStyle.accent : NookStyle.secondaryText
            font.pixelSize: NookStyle.smallSize
            elide: Text.ElideRight
        }
    }

    // A pill with a camera glyph and the word: the one action of the row.
    Rectangle {
        id: join
        visible: rowItem.row.hasJoin
        anchors.right: parent.right
        anchors.rightMargin: 4
        anchors.verticalCenter: parent.verticalCenter
        width: joinLabel.implicitWidth + joinIcon.implicitWidth + 18
        height: 18
        radius: 9
        color: joinTap.pressed ? Qt.darker(NookStyle.accent, 1.25)
             : joinHover.hovered ? Qt.lighter(NookStyle.accent, 1.12) : NookStyle.accent
        border.width: joinFocus.activeFocus ? 1.5 : 0
        border.color: NookStyle.focusRing
        scale: joinTap.pressed ? 0.95 : 1
        Behavior on scale { NumberAnimation { duration: 90 } }
        Behavior on color { ColorAnimation { duration: NookStyle.hoverFadeMs } }

        Accessible.role: Accessible.Button
        Accessible.name: rowItem.row.joinName
        Accessible.onPressAction: rowItem.joinRequested(rowItem.row.joinURL)

        Row {
            anchors.centerIn: parent
            spacing: 3
            Text {
                id: joinIcon
                anchors.verticalCenter: parent.verticalCenter
                text: "videocam"
                font.family: NookStyle.iconFont
                font.pixelSize: 13
                color: "white"
            }
            Text {
                id: joinLabel
                anchors.verticalCenter: parent.verticalCenter
                text: rowItem.row.joinLabel
                font.pixelSize: NookStyle.captionSize
                font.weight: Font.DemiBold
                color: "white"
            }
        }

        Item {
            id: joinFocus
            anchors.fill: parent
            activeFocusOnTab: true
            Keys.onSpacePressed: rowItem.joinRequested(rowItem.row.joinURL)
            Keys.onReturnPressed: rowItem.joinRequested(rowItem.row.joinURL)
        }
        HoverHandler { id: joinHover; cursorShape: Qt.PointingHandCursor }
        TapHandler {
            id: joinTap
            onTapped: rowItem.joinRequested(rowItem.row.joinURL)
        }
    }

    HoverHandler { id: hover }
}
