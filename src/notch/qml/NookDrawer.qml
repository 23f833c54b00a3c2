import QtQuick
import Tarnwick

// A side drawer: its content slides in from its own edge and fades in on
// the drawer spring, while the outline widens around it.
Item {
    id: drawer
    property bool out: false
    property bool fromLeft: true
    property spring spring
    property Component content

    SpringValue { id: shown; spring: drawer.spring; target: drawer.out ? 1 : 0 }

    clip: true
    visible: shown.value > 0.001

    Loader {
        // Made when first needed, kept afterwards: a drawer that opens again
        // shows its state as it was.
        active: drawer.content !== null && (drawer.out || item !== null)
        sourceComponent: drawer.content
        width: parent.width
        height: parent.height
        x: (drawer.fromLeft ? -1 : 1) * (1 - shown.value) * 24
        opacity: shown.value
        enabled: drawer.out
    }
}
