import QtQuick
import Tarnwick

// Nineteen days around the selected one, the selected day in the middle.
// Tap a day to show it; drag sideways to move through the days.
Item {
    id: strip

    required property CalendarDrawerModel drawer

    readonly property real cellWidth: 26
    readonly property real cellSpacing: 4
    readonly property real pitch: cellWidth + cellSpacing
    // A step slides in from where the old day sat: the row jumps by the
    // days stepped (`accum` moves at once) and the spring catches up.
    property real accum: 0
    property var shownDay
    Component.onCompleted: shownDay = CalendarAgenda.selectedDay

    height: 30
    clip: true

    Connections {
        target: CalendarAgenda
        function onSelectedDayChanged() {
            const days = Math.round((CalendarAgenda.selectedDay - strip.shownDay) / 86400000)
            strip.shownDay = CalendarAgenda.selectedDay
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
        x: strip.width / 2 - (Math.floor(strip.drawer.days.length / 2) * strip.pitch + strip.cellWidth / 2) + CalendarAgenda.stripOffset + (strip.accum - slideSpring.value)

        Repeater {
            model: strip.drawer.days
            delegate: DayCell {
                required property var modelData
                width: strip.cellWidth
                height: strip.height
                day: modelData
                onTapped: strip.drawer.selectDay(modelData.day)
            }
        }
    }

    DragHandler {
        id: drag
        target: null
        xAxis.enabled: true
        yAxis.enabled: false
        property real lastTranslation: 0
        property real lastVelocity: 0
        onTranslationChanged: {
            lastTranslation = translation.x
            lastVelocity = centroid.velocity.x
            strip.drawer.dragStrip(translation.x)
        }
        onActiveChanged: {
            if (!active) {
                strip.drawer.endStripDrag(lastTranslation, lastVelocity)
                lastTranslation = 0
                lastVelocity = 0
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
