import QtQuick
import Tarnwick

// The open Nook: the enabled pages side by side, the page dots, the two
// drawers, or the "All pages are off" view. Laid out in window coordinates.
Item {
    id: nook
    required property NotchViewModel model
    property Component mediaPage
    property Component trayPage
    property Component mirrorDrawer
    property Component calendarDrawer
    property NookDropDelegate dropDelegate

    readonly property notchGeometry geometry: model.geometry
    readonly property rect base: geometry.baseRect
    readonly property real pageWidth: geometry.expandedSize.width
    // The outline's walls stand in from its rectangle by the open top
    // radius: pages live inside the walls, the row still steps a full width.
    readonly property real wallInset: 8
    // Pages sit under the notch band; the band itself holds the page dots.
    readonly property real bandHeight: geometry.notchSize.height
    readonly property var pages: model.pages

    // Where the row rests plus the live drag, on the page spring.
    SpringValue {
        id: rowOffset
        spring: nook.model.pageAnimation
        target: -nook.model.visibleIndex * nook.pageWidth + nook.model.pageDragOffset
    }
    // The drag as the pages see it, springs included.
    readonly property real liveOffset: rowOffset.value + nook.model.visibleIndex * nook.pageWidth

    Item {
        id: pageArea
        x: nook.base.x + nook.wallInset
        y: nook.bandHeight
        width: nook.base.width - 2 * nook.wallInset
        height: nook.base.height - nook.bandHeight
        // The drop choice and the device chooser take the page's place
        // rather than being read through it.
        readonly property bool covered: nook.model.isDropTargeted || NearbyShare.phase !== NearbyShare.Idle
        visible: nook.model.hasVisiblePage && opacity > 0
        opacity: covered ? 0 : 1
        Behavior on opacity { NumberAnimation { duration: 140 } }

        Repeater {
            model: nook.pages
            delegate: Loader {
                id: pageLoader
                required property var modelData
                required property int index
                x: rowOffset.value + index * nook.pageWidth
                width: pageArea.width
                height: pageArea.height
                opacity: NookLayout.pageOpacity(nook.pageWidth, index, nook.model.visibleIndex, nook.liveOffset)
                visible: opacity > 0
                enabled: index === nook.model.visibleIndex
                sourceComponent: modelData === NookPage.Media ? nook.mediaPage : nook.trayPage
                Accessible.name: NookLayout.pageTitle(modelData)
            }
        }
    }

    PageDots {
        model: nook.model
        visible: nook.pages.length > 0
        anchors.right: pageArea.right
        anchors.rightMargin: 12
        y: (nook.bandHeight - height) / 2
    }

    AllPagesOffView {
        visible: !nook.model.hasVisiblePage
        x: pageArea.x
        y: pageArea.y
        width: pageArea.width
        height: pageArea.height
        onOpenSettings: nook.model.openSettings()
    }

    // Over the pages: where dropped files go, and sending to a device.
    DropChoiceView {
        delegate: nook.dropDelegate
        x: pageArea.x
        y: pageArea.y
        width: pageArea.width
        height: pageArea.height
        z: 10
    }
    NearbySendView {
        x: pageArea.x
        y: pageArea.y
        width: pageArea.width
        height: pageArea.height
        z: 11
    }

    NookDrawer {
        x: 0
        width: nook.geometry.drawerWidth
        height: nook.base.height
        out: nook.model.drawer === NotchViewModel.Mirror
        fromLeft: true
        spring: nook.model.drawerAnimation
        content: nook.mirrorDrawer
    }
    NookDrawer {
        x: nook.base.x + nook.base.width
        width: nook.geometry.drawerWidth
        height: nook.base.height
        out: nook.model.drawer === NotchViewModel.Calendar
        fromLeft: false
        spring: nook.model.drawerAnimation
        content: nook.calendarDrawer
    }
}
