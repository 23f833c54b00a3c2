import QtQuick
import Tarnwick

// The two destinations shown while files hover over the open Nook: keep
// them in the tray (left) or send them to a nearby device (right). The half
// under the pointer is lit. Without the tray page, only the device side.
Item {
    id: view

    required property NookDropDelegate delegate
    readonly property NotchViewModel model: delegate.model
    readonly property bool targeted: model !== null && model.isDropTargeted
    readonly property bool onTray: model !== null && model.dropZone === DropZone.Tray

    implicitWidth: 530
    implicitHeight: 120
    visible: opacity > 0
    opacity: targeted ? 1 : 0
    Behavior on opacity { NumberAnimation { duration: 140 } }

    component Choice: Rectangle {
        id: card
        property bool lit: false
        property string symbol
        property string title
        property string detail

        radius: 14
        color: lit ? Qt.rgba(NookStyle.accent.r, NookStyle.accent.g, NookStyle.accent.b, 0.22) : NookStyle.surface
        border.width: lit ? 2 : 1
        border.color: lit ? NookStyle.accent : NookStyle.separator
        Behavior on color { ColorAnimation { duration: NookStyle.hoverFadeMs } }
        Accessible.role: Accessible.StaticText
        Accessible.name: title

        Column {
            anchors.centerIn: parent
            width: parent.width - 24
            spacing: 6

            Text {
                anchors.horizontalCenter: parent.horizontalCenter
                text: card.symbol
                font.family: NookStyle.iconFont
                font.pixelSize: 28
                color: card.lit ? NookStyle.primaryText : NookStyle.secondaryText
                scale: card.lit ? 1.08 : 1
                Behavior on scale { NumberAnimation { duration: 160; easing.type: Easing.OutBack } }
            }
            Text {
                width: parent.width
                horizontalAlignment: Text.AlignHCenter
                text: card.title
                color: NookStyle.primaryText
                font.pixelSize: NookStyle.bodySize + 1
                font.weight: Font.DemiBold
                elide: Text.ElideRight
            }
            Text {
                width: parent.width
                visible: text.length > 0
                horizontalAlignment: Text.AlignHCenter
                text: card.detail
                color: NookStyle.secondaryText
                font.pixelSize: NookStyle.captionSize
                elide: Text.ElideRight
            }
        }
    }

    Row {
        anchors.fill: parent
        anchors.margins: 10
        spacing: 10

        Choice {
            objectName: "trayChoice"
            visible: view.delegate.offersTray
            width: (parent.width - parent.spacing) / 2
            height: parent.height
            lit: view.onTray
            symbol: "move_to_inbox"
            title: view.delegate.trayTitle
        }
        Choice {
            objectName: "deviceChoice"
            width: view.delegate.offersTray ? (parent.width - parent.spacing) / 2 : parent.width
            height: parent.height
            lit: !view.onTray
            symbol: "send"
            title: view.delegate.deviceTitle
            detail: NearbyShare.deviceHint
        }
    }
}
