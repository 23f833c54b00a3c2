import QtQuick
import Tarnwick

// Nineteen days around the selected one, the selected day in the middle.
// Tap a day to show it; drag sideways to move through the days.
Item {
    id: strip

    // Swipes and wheel notches over the strip move days, not pages; the
    // panel asks this region.
    NookHitRegion {
        anchors.fill: parent
        kind: NookHitRegion.DayStrip
    }

    required property CalendarDrawerModel drawer

    // DayCell's own width.
    readonly property real cellWidth: 26
    readonly property real cellSpacing: 4
    readonly property real pitch: cellWidth + cellSpacing
    // A step slides in from where the old day sat: the row jumps by the
    // days stepped (`accum` moves at once) and the spring catches up.
    property real accum: 0
    property var shownDay
    Component.onCompleted: shownDay = strip.drawer.agenda ? strip.drawer.agenda.selectedDay : undefined

    height: 30
    clip: true
    activeFocusOnTab: true
    Accessible.role: Accessible.List
    Accessible.name: "Days"
    Keys.onLeftPressed: strip.drawer.agenda.step(-1)
    Keys.onRightPressed: strip.drawer.agenda.step(1)

    // Keyboard focus: a ring around the selected day.
    Rectangle {
        z: 2
        anchors.centerIn: parent
        width: strip.cellWidth + 4
        height: parent.height
        radius: 10
        color: "transparent"
        border.width: 1.5
        border.color: NookStyle.focusRing
        visible: strip.activeFocus
    }

    Connections {
        target: strip.drawer.agenda
        function onSelectedDayChanged() {
            const day = strip.drawer.agenda.selectedDay
            const days = strip.drawer.daysBetween(strip.shownDay, day)
            strip.shownDay = day
            strip.accum += days * strip.pitch
        }
    }

    SpringValue {
        id: slideSpring
        spring: strip.drawer.slideSpring
        target: strip.accum
    }

    Row {
        id: row
        spacing: strip.cellSpacing
        y: 0
        x: strip.width / 2 - (Math.floor(strip.drawer.days.length / 2) * strip.pitch + strip.cellWidth / 2) + (strip.drawer.agenda ? strip.drawer.agenda.stripOffset : 0) + (strip.accum - slideSpring.value)

        Repeater {
            model: strip.drawer.days
            delegate: DayCell {
                required property var modelData
                day: modelData
            }
            onItemAdded: (index, item) => item.tapped.connect(() => strip.drawer.selectDay(item.day.day))
        }
    }

    DragHandler {
        id: drag
        target: null
        xAxis.enabled: true
        yAxis.enabled: false
        property real lastTranslation: 0
        onTranslationChanged: {
            lastTranslation = translation.x
            strip.drawer.dragStrip(translation.x)
        }
        onActiveChanged: {
            if (!active) {
                strip.drawer.endStripDrag(lastTranslation)
                lastTranslation = 0
            }
        }
    }

    // Both ends fade into the black of the Nook.
    Rectangle {
        anchors.fill: parent
        gradient: Gradient {
            orientation: Gradient.Horizontal
            GradientStop { position: 0.0; color: NookStyle.background }
            GradientStop { position: 0.04; color: NookStyle.background }
            GradientStop { position: 0.22; color: "transparent" }
            GradientStop { position: 0.78; color: "transparent" }
            GradientStop { position: 0.96; color: NookStyle.background }
            GradientStop { position: 1.0; color: NookStyle.background }
        }
    }
}
