import QtQuick
import QtQuick.Controls.Basic
import Tarnwick

// The tray page of the open Nook: a header with the title, Clear and the
// source picker; below it the files as a grid, the empty tray's invitation
// or a message. Reads the application's TrayStore, FileFeeds and
// ThumbnailCache.
Item {
    id: view

    // True while the page is the one on screen in an open Nook; each time it
    // turns true the tray is pruned and the shown feed is read again.
    property bool active: true
    // Files are being dragged over the notch (lights the empty tray's zone).
    property bool dropTargeted: false

    implicitWidth: 530
    implicitHeight: 120

    TrayPage { id: page }

    function appear() { page.appear() }
    onActiveChanged: if (active) page.appear()
    Component.onCompleted: if (active) page.appear()

    Item {
        id: header
        x: 14
        y: 8
        width: parent.width - 28
        height: 26

        Text {
            id: title
            anchors.verticalCenter: parent.verticalCenter
            text: page.title
            color: NookStyle.primaryText
            font.pixelSize: NookStyle.titleSize
            font.weight: Font.DemiBold
            Accessible.role: Accessible.Heading
        }

        AbstractButton {
            id: clearButton
            objectName: "clearButton"
            visible: page.showsClear
            anchors.left: title.right
            anchors.leftMargin: 10
            anchors.verticalCenter: parent.verticalCenter
            height: 20
            implicitWidth: implicitContentWidth + 16
            leftPadding: 8
            rightPadding: 8
            hoverEnabled: true
            focusPolicy: Qt.TabFocus
            text: page.clearText
            Accessible.role: Accessible.Button
            Accessible.name: text
            Accessible.description: page.clearHelp()
            ToolTip.visible: hovered
            ToolTip.delay: 700
            ToolTip.text: page.clearHelp()
            onClicked: page.clear()
            background: Rectangle {
                radius: height / 2
                color: clearButton.down ? NookStyle.surfacePressed : clearButton.hovered ? NookStyle.surfaceHover : NookStyle.surface
                border.width: clearButton.visualFocus ? 1.5 : 0
                border.color: NookStyle.focusRing
                Behavior on color { ColorAnimation { duration: NookStyle.hoverFadeMs } }
            }
            contentItem: Text {
                text: clearButton.text
                color: NookStyle.secondaryText
                font.pixelSize: NookStyle.captionSize
                horizontalAlignment: Text.AlignHCenter
                verticalAlignment: Text.AlignVCenter
            }
        }

        SourcePicker {
            anchors.right: parent.right
            anchors.verticalCenter: parent.verticalCenter
            sources: page.sources
            current: page.source
            onPicked: source => page.pick(source)
        }
    }

    Item {
        id: body
        x: 8
        y: header.y + header.height + 6
        width: parent.width - 16
        height: parent.height - y - 6

        GridView {
            id: grid
            objectName: "grid"
            visible: page.content === TrayPage.Grid
            // Columns of 64 points with 10-point gaps, centred.
            readonly property int columns: Math.max(1, Math.floor((body.width + 10) / 74))
            width: columns * 74
            height: parent.height
            anchors.horizontalCenter: parent.horizontalCenter
            cellWidth: 74
            cellHeight: 74
            clip: true
            boundsBehavior: Flickable.StopAtBounds
            model: visible ? page.items : null
            ScrollBar.vertical: ScrollBar { policy: ScrollBar.AsNeeded; width: 6 }

            delegate: Item {
                required property url url
                required property string name
                width: 74
                height: 74
                TrayItemTile {
                    x: 5
                    y: 2
                    url: parent.url
                    name: parent.name
                    removable: page.removable
                    removeName: page.removeAccessibleName(name)
                    removeHelp: page.removeHelp()
                    onRemoveRequested: u => page.remove(u)
                }
            }
        }

        TrayDropZone {
            objectName: "dropZone"
            anchors.fill: parent
            anchors.leftMargin: 6
            anchors.rightMargin: 6
            visible: page.content === TrayPage.Invitation
            isTargeted: view.dropTargeted
            title: page.dropTitle(view.dropTargeted)
            detail: page.dropDetail()
        }

        FeedMessage {
            objectName: "feedMessage"
            anchors.fill: parent
            visible: page.content === TrayPage.Message
            symbol: page.messageSymbol
            title: page.messageTitle
            detail: page.messageDetail
        }
    }
}
