import QtQuick
import Tarnwick

// The mirror itself: the live picture on its rounded surface, the two check
// rows beside it, and the row of buttons under it.
Item {
    id: panel

    required property MirrorDrawerModel drawer

    MirrorSurface {
        id: surface
        anchors.left: parent.left
        anchors.top: parent.top
        anchors.bottom: buttons.top
        anchors.bottomMargin: 6
        width: Math.round(height * 4 / 3)

        MirrorPreview {
            id: preview
            anchors.fill: parent
            // As a mirror, left is left; as others see you, it is not.
            transform: Scale {
                origin.x: preview.width / 2
                xScale: panel.drawer.isMirrored ? -1 : 1
            }
            Component.onCompleted: panel.drawer.camera.setPreviewSink(preview.videoSink)
        }
        Text {
            anchors.centerIn: parent
            visible: panel.drawer.camera.status !== CameraMirror.Running
            text: "account_circle"
            font.family: NookStyle.iconFont
            font.pixelSize: 44
            color: NookStyle.tertiaryText
        }
        Rectangle {
            // The flash of a snap.
            anchors.fill: parent
            color: "white"
            opacity: panel.drawer.isFlashing ? 0.85 : 0
            Behavior on opacity { NumberAnimation { duration: 120 } }
        }
    }

    Column {
        anchors.left: surface.right
        anchors.leftMargin: 10
        anchors.right: parent.right
        anchors.top: surface.top
        spacing: 6

        CheckRow {
            width: parent.width
            visible: panel.drawer.hasVerdicts
            icon: "light_mode"
            text: panel.drawer.lightingText
            isGood: panel.drawer.lightingGood
        }
        CheckRow {
            width: parent.width
            visible: panel.drawer.hasVerdicts
            icon: "face"
            text: panel.drawer.framingText
            isGood: panel.drawer.framingGood
        }
        Text {
            width: parent.width
            visible: panel.drawer.snapMessage.length > 0
            text: panel.drawer.snapMessage
            color: panel.drawer.snapState === MirrorDrawerModel.Failed ? NookStyle.destructive : NookStyle.secondaryText
            font.pixelSize: NookStyle.smallSize
            wrapMode: Text.Wrap
        }
    }

    Text {
        anchors.left: surface.right
        anchors.leftMargin: 10
        anchors.right: parent.right
        anchors.bottom: surface.bottom
        visible: panel.drawer.snapMessage.length === 0
        text: panel.drawer.note
        color: NookStyle.tertiaryText
        font.pixelSize: NookStyle.smallSize
        wrapMode: Text.Wrap
    }

    Row {
        id: buttons
        anchors.left: parent.left
        anchors.bottom: parent.bottom
        spacing: 6

        NookIconButton {
            diameter: 26
            symbol: "flip"
            text: "Flip"
            help: panel.drawer.flipHelp
            onClicked: panel.drawer.flip()
        }
        NookIconButton {
            diameter: 26
            symbol: "photo_camera"
            text: "Snap"
            help: panel.drawer.snapHelp
            prominent: true
            enabled: panel.drawer.camera.status === CameraMirror.Running
                     && panel.drawer.snapState !== MirrorDrawerModel.Working
            onClicked: panel.drawer.snap()
        }
        NookIconButton {
            diameter: 26
            symbol: panel.drawer.lightIsOn ? "lightbulb" : "lightbulb_outline"
            text: "Light"
            help: panel.drawer.lightHelp
            tint: panel.drawer.lightIsOn ? "#ffd60a" : NookStyle.primaryText
            onClicked: panel.drawer.toggleLight()
        }
        NookIconButton {
            diameter: 26
            symbol: "switch_camera"
            text: "Next camera"
            help: panel.drawer.nextCameraHelp
            enabled: panel.drawer.canSwitchCamera
            onClicked: panel.drawer.nextCamera()
        }
    }
}
