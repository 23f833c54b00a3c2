import QtQuick
import Tarnwick

// The one view inside the notch panel: the black outline, and inside it the
// closed notch (with its wings and peeks) or the open Nook.
Item {
    id: root
    required property NotchViewModel model

    // Views of the other subsystems plug in here.
    property Component mediaPage: Component {
        MediaWidgetView {
            volumeBand: Component { VolumeBand {} }
        }
    }
    property Component trayPage: Component {
        TrayPageView {
            // Each appearance prunes and refreshes what the page lists.
            active: root.model.isExpanded && root.model.visiblePage === NookPage.Tray
            dropTargeted: root.model.isDropTargeted && root.model.dropZone === DropZone.Tray
        }
    }
    property Component mirrorDrawer: Component {
        MirrorDrawerView { model: root.model }
    }
    // The left strip offers a drawer only once there is a view to show in it.
    Binding { target: root.model; property: "mirrorAvailable"; value: root.mirrorDrawer !== null }
    property Component calendarDrawer: Component {
        CalendarDrawerView { model: root.model }
    }
    property Component leftWing: Component {
        Item { MiniTurntableView { anchors.centerIn: parent } }
    }
    property Component rightWing: Component {
        Item { PlaybackLevelView { anchors.centerIn: parent } }
    }
    property Component peekView: Component {
        AirPodsPeekView {
            levels: root.model.peekLevels
            sideWidth: (root.model.peekRect.width - root.model.geometry.notchSize.width) / 2
            cornerInset: root.model.bottomRadius
        }
    }

    readonly property rect shape: model.shapeRect
    readonly property bool open: model.isExpanded
    readonly property spring outlineSpring: model.outlineAnimation

    // Position, size and both radii move together, on one spring.
    SpringValue { id: sx; spring: root.outlineSpring; target: root.shape.x }
    SpringValue { id: sy; spring: root.outlineSpring; target: root.shape.y }
    SpringValue { id: sw; spring: root.outlineSpring; target: root.shape.width }
    SpringValue { id: sh; spring: root.outlineSpring; target: root.shape.height }
    SpringValue { id: topRadius; spring: root.outlineSpring; target: root.model.topRadius }
    SpringValue { id: bottomRadius; spring: root.outlineSpring; target: root.model.bottomRadius }
    // 0 closed … 1 open, on the outline's own spring, for the content fades.
    SpringValue { id: openness; spring: root.outlineSpring; target: root.open ? 1 : 0 }

    PlacedNotchShape {
        id: outline
        anchors.fill: parent
        color: NookStyle.background
        shapeX: sx.value
        shapeY: sy.value
        shapeWidth: sw.value
        shapeHeight: sh.value
        topRadius: topRadius.value
        bottomRadius: bottomRadius.value
    }

    // Content never spills past the outline, however the springs move it.
    Item {
        id: clipper
        x: sx.value + topRadius.value
        y: sy.value
        width: Math.max(0, sw.value - 2 * topRadius.value)
        height: sh.value
        clip: true

        Item {
            id: closedContent
            x: -clipper.x
            y: -clipper.y
            width: root.width
            height: root.height
            opacity: Math.max(0, 1 - openness.value * 2.5)
            visible: opacity > 0

            Loader {
                active: root.model.showsPlayback && !root.model.hasPeek && root.leftWing !== null
                sourceComponent: root.leftWing
                x: root.model.leftWingRect.x
                width: root.model.leftWingRect.width
                height: root.model.leftWingRect.height
            }
            Loader {
                active: root.model.showsPlayback && !root.model.hasPeek && root.rightWing !== null
                sourceComponent: root.rightWing
                x: root.model.rightWingRect.x
                width: root.model.rightWingRect.width
                height: root.model.rightWingRect.height
            }
            Loader {
                active: root.model.hasPeek && root.peekView !== null
                sourceComponent: root.peekView
                x: root.model.peekRect.x
                width: root.model.peekRect.width
                height: root.model.peekRect.height
            }
        }

        NookContentView {
            id: content
            dropDelegate: nookDrop.delegate
            x: -clipper.x
            y: -clipper.y
            width: root.width
            height: root.height
            model: root.model
            mediaPage: root.mediaPage
            trayPage: root.trayPage
            mirrorDrawer: root.mirrorDrawer
            calendarDrawer: root.calendarDrawer
            opacity: Math.max(0, Math.min(1, (openness.value - 0.3) / 0.7))
            // Visible from the first moment of opening, so the keyboard can
            // land in it before it has faded in.
            visible: opacity > 0 || root.open
            enabled: root.open
        }
    }

    // Files dragged from other programs, anywhere over the panel.
    NookDropArea {
        id: nookDrop
        anchors.fill: parent
        model: root.model
    }

    // From the keyboard: a shortcut opens the Nook with focus on its first
    // control, Tab goes on through the controls, Escape closes it and gives
    // the keyboard back to the window that had it.
    Keys.onEscapePressed: root.model.dismiss()
    Connections {
        target: root.model
        function onKeyboardFocusRequested() {
            root.forceActiveFocus()
            const first = root.nextItemInFocusChain(true)
            if (first)
                first.forceActiveFocus(Qt.TabFocusReason)
        }
    }

    // A tap on the closed notch opens it.
    TapHandler {
        enabled: !root.open
        onTapped: root.model.expand()
    }

    Accessible.role: Accessible.Pane
    Accessible.name: root.open ? "Tarnwick" : "Tarnwick notch"
}
