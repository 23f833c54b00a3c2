import QtQuick
import Tarnwick

// The left drawer of the open Nook: a live mirror to check one's look before
// a call, with the lighting and framing verdicts beside it and four buttons
// below (flip, snap, light, next camera). Without a usable camera it says
// why instead. Everything it says comes from MirrorDrawerModel.
Item {
    id: root

    required property NotchViewModel model

    implicitWidth: Math.min(340, root.model.geometry.drawerWidth)
    implicitHeight: 150

    MirrorDrawerModel {
        id: drawer
        // The camera runs exactly while the drawer is out.
        active: root.model.isExpanded && root.model.drawer === NotchViewModel.Mirror
    }

    PermissionPanel {
        anchors.fill: parent
        anchors.margins: 10
        visible: !drawer.showsPreCall
        drawer: drawer
    }

    PreCallPanel {
        anchors.fill: parent
        anchors.leftMargin: 10
        anchors.rightMargin: 10
        anchors.topMargin: 6
        anchors.bottomMargin: 6
        visible: drawer.showsPreCall
        drawer: drawer
    }
}
