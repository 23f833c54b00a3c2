import QtQuick
import Tarnwick

// The one view inside the notch panel: the black outline, closed or open.
Item {
    id: root
    required property NotchViewModel model

    readonly property rect shape: model.shapeRect
    readonly property bool open: model.isExpanded
    readonly property notchGeometry geometry: model.geometry
    readonly property spring outlineSpring: model.outlineAnimation

    // Position, size and both radii move together, on one spring.
    SpringValue { id: sx; spring: root.outlineSpring; target: root.shape.x }
    SpringValue { id: sy; spring: root.outlineSpring; target: root.shape.y }
    SpringValue { id: sw; spring: root.outlineSpring; target: root.shape.width }
    SpringValue { id: sh; spring: root.outlineSpring; target: root.shape.height }
    SpringValue { id: topRadius; spring: root.outlineSpring; target: root.open ? 8 : 6 }
    SpringValue {
        id: bottomRadius
        spring: root.outlineSpring
        // A simulated notch gets a pill-like lower edge.
        target: root.open ? 22 : (root.geometry.hasPhysicalNotch ? 10 : root.geometry.notchSize.height / 2)
    }

    PlacedNotchShape {
        id: outline
        anchors.fill: parent
        color: "black"
        shapeX: sx.value
        shapeY: sy.value
        shapeWidth: sw.value
        shapeHeight: sh.value
        topRadius: topRadius.value
        bottomRadius: bottomRadius.value

        TapHandler {
            enabled: !root.open
            onTapped: root.model.expand()
        }
    }
}
