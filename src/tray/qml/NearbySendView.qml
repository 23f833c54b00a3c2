import QtQuick
import QtQuick.Controls.Basic
import Tarnwick

// Sending to a nearby device, in the Nook: the list of devices to choose
// from, then the transfer's progress and how it ended.
Rectangle {
    id: view

    readonly property int phase: NearbyShare.phase

    implicitWidth: 530
    implicitHeight: 120
    color: NookStyle.background
    visible: phase !== NearbyShare.Idle

    Item {
        id: header
        x: 14
        y: 8
        width: parent.width - 28
        height: 26

        Text {
            anchors.left: parent.left
            anchors.right: closeButton.left
            anchors.rightMargin: 8
            anchors.verticalCenter: parent.verticalCenter
            text: NearbyShare.statusText
            color: view.phase === NearbyShare.Failed ? NookStyle.destructive : NookStyle.primaryText
            font.pixelSize: NookStyle.titleSize
            font.weight: Font.DemiBold
            elide: Text.ElideRight
            visible: view.phase === NearbyShare.Choosing
        }
        NookIconButton {
            id: closeButton
            objectName: "nearbyClose"
            anchors.right: parent.right
            anchors.verticalCenter: parent.verticalCenter
            diameter: 24
            symbol: "close"
            text: NearbyShare.dismissText
            help: text
            onClicked: NearbyShare.dismiss()
        }
    }

    ListView {
        id: devices
        objectName: "deviceList"
        visible: view.phase === NearbyShare.Choosing
        x: 14
        y: header.y + header.height + 10
        width: parent.width - 28
        height: 64
        orientation: ListView.Horizontal
        spacing: 8
        clip: true
        model: NearbyShare.devices

        delegate: AbstractButton {
            id: device
            required property int index
            required property string name
            required property string kind
            required property string symbol

            width: Math.max(150, implicitContentWidth + 24)
            height: 56
            hoverEnabled: true
            focusPolicy: Qt.TabFocus
            Accessible.role: Accessible.Button
            Accessible.name: "Send to " + name
            onClicked: NearbyShare.choose(index)

            background: Rectangle {
                radius: 12
                color: device.down ? NookStyle.surfacePressed : device.hovered ? NookStyle.surfaceHover : NookStyle.surface
                border.width: device.visualFocus ? 1.5 : 0
                border.color: NookStyle.focusRing
                Behavior on color { ColorAnimation { duration: NookStyle.hoverFadeMs } }
            }
            contentItem: Row {
                spacing: 10
                leftPadding: 12
                Rectangle {
                    width: 34
                    height: 34
                    radius: 17
                    anchors.verticalCenter: parent.verticalCenter
                    color: NookStyle.accent
                    Text {
                        anchors.centerIn: parent
                        text: device.symbol
                        font.family: NookStyle.iconFont
                        font.pixelSize: 20
                        color: NookStyle.primaryText
                    }
                }
                Column {
                    anchors.verticalCenter: parent.verticalCenter
                    Text {
                        text: device.name
                        color: NookStyle.primaryText
                        font.pixelSize: NookStyle.bodySize
                        font.weight: Font.DemiBold
                    }
                    Text {
                        text: device.kind
                        color: NookStyle.secondaryText
                        font.pixelSize: NookStyle.smallSize
                    }
                }
            }
        }
    }

    // Progress and outcome.
    Row {
        objectName: "sendStatus"
        visible: view.phase !== NearbyShare.Choosing
        anchors.centerIn: parent
        anchors.verticalCenterOffset: 10
        spacing: 14

        Rectangle {
            width: 40
            height: 40
            radius: 20
            anchors.verticalCenter: parent.verticalCenter
            color: view.phase === NearbyShare.Failed ? Qt.rgba(1, 0.27, 0.23, 0.18)
                 : view.phase === NearbyShare.Sent ? Qt.rgba(0.2, 0.78, 0.35, 0.2) : NookStyle.surface
            Text {
                anchors.centerIn: parent
                text: view.phase === NearbyShare.Failed ? "error_outline"
                    : view.phase === NearbyShare.Sent ? "check_circle" : "send"
                font.family: NookStyle.iconFont
                font.pixelSize: 22
                color: view.phase === NearbyShare.Failed ? NookStyle.destructive
                     : view.phase === NearbyShare.Sent ? "#32d74b" : NookStyle.primaryText
            }
        }
        Column {
            anchors.verticalCenter: parent.verticalCenter
            spacing: 8
            width: Math.min(380, view.width - 100)
            Text {
                width: parent.width
                text: NearbyShare.statusText
                color: NookStyle.primaryText
                font.pixelSize: NookStyle.bodySize + 1
                font.weight: Font.DemiBold
                wrapMode: Text.Wrap
                maximumLineCount: 2
                elide: Text.ElideRight
                Accessible.role: Accessible.StaticText
                Accessible.name: text
            }
            Rectangle {
                visible: view.phase === NearbyShare.Sending
                width: parent.width
                height: 4
                radius: 2
                color: NookStyle.surfaceHover
                Rectangle {
                    width: parent.width * NearbyShare.progress
                    height: parent.height
                    radius: 2
                    color: NookStyle.accent
                    Behavior on width { NumberAnimation { duration: 120 } }
                }
                Accessible.role: Accessible.ProgressBar
            }
        }
    }
}
