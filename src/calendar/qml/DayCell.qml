import QtQuick
import Tarnwick

// One day of the strip: its weekday initial, its number, and a dot when
// something is on.
Item {
    id: cell

    required property var day
    signal tapped()

    readonly property bool selected: day.isSelected

    width: 26
    height: 30
    readonly property bool hovered: hover.hovered

    Accessible.role: Accessible.Button
    Accessible.name: day.name + (day.isBusy ? ", has events" : "")
    Accessible.onPressAction: cell.tapped()
    Accessible.selected: cell.selected

    Rectangle {
        anchors.fill: parent
        radius: 8
        color: cell.selected ? NookStyle.primaryText
             : tap.pressed ? NookStyle.surfacePressed
             : cell.hovered ? NookStyle.surface : "transparent"
        Behavior on color { ColorAnimation { duration: NookStyle.hoverFadeMs } }
    }

    Text {
        id: weekday
        anchors.horizontalCenter: parent.horizontalCenter
        y: 2
        text: cell.day.weekday
        font.pixelSize: 8
        font.weight: Font.DemiBold
        color: cell.selected ? Qt.rgba(0, 0, 0, 0.55)
             : cell.day.isWeekend ? NookStyle.tertiaryText : NookStyle.secondaryText
    }

    Text {
        anchors.horizontalCenter: parent.horizontalCenter
        y: 11
        text: cell.day.number
        font.pixelSize: NookStyle.bodySize
        font.weight: cell.selected || cell.day.isToday ? Font.Bold : Font.Medium
        color: cell.selected ? NookStyle.background
             : cell.day.isToday ? NookStyle.accent : NookStyle.primaryText
    }

    Rectangle {
        anchors.horizontalCenter: parent.horizontalCenter
        y: parent.height - 5
        width: 4
        height: 4
        radius: 2
        visible: cell.day.isBusy
        color: cell.selected ? NookStyle.background
             : cell.day.isToday ? NookStyle.accent : NookStyle.secondaryText
    }

    HoverHandler { id: hover }
    TapHandler {
        id: tap
        onTapped: cell.tapped()
    }
}
