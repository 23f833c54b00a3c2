import QtQuick
import Tarnwick

// Receives drags over the whole notch panel. Only drags that carry files
// are taken; they open the Nook, and the half under the pointer chooses
// between the tray and a nearby device. Place it over the panel's content,
// filling the window, and give DropChoiceView its `delegate`.
DropArea {
    id: area

    required property NotchViewModel model
    readonly property NookDropDelegate delegate: drops

    keys: ["text/uri-list"]

    NookDropDelegate {
        id: drops
        model: area.model
    }

    // The delegate works in window coordinates, like the model's geometry.
    function windowPoint(x, y) { return area.mapToItem(null, x, y) }

    onEntered: drag => {
        drag.accepted = drops.enter(drag.urls, windowPoint(drag.x, drag.y))
        if (drag.accepted)
            drag.action = Qt.CopyAction
    }
    onPositionChanged: drag => {
        drops.move(windowPoint(drag.x, drag.y))
        drag.action = Qt.CopyAction
    }
    onExited: drops.exit()
    onDropped: drop => {
        if (drops.drop(drop.urls, windowPoint(drop.x, drop.y)))
            drop.accept(Qt.CopyAction)
    }
}
