import QtQuick
import Tarnwick

// The right drawer of the open Nook: the day, a strip of days around it,
// that day's events, and a line to type a new one. Without calendar access
// it explains why instead. Everything it says comes from CalendarDrawerModel.
Item {
    id: root

    required property NotchViewModel model

    implicitWidth: Math.min(340, root.model.geometry.drawerWidth)
    implicitHeight: 150

    CalendarDrawerModel {
        id: drawer
        // The minute tick runs only while the drawer is on screen.
        active: root.visible
    }

    Item {
        id: content
        anchors.fill: parent
        anchors.leftMargin: 10
        anchors.rightMargin: 10
        anchors.topMargin: 6
        anchors.bottomMargin: 6
        visible: drawer.showsList

        Item {
            id: header
            anchors.left: parent.left
            anchors.right: parent.right
            height: 16

            Row {
                anchors.left: parent.left
                anchors.right: headerButtons.left
                anchors.rightMargin: 6
                anchors.verticalCenter: parent.verticalCenter
                spacing: 6
                clip: true

                Text {
                    id: headerTitle
                    text: drawer.headerTitle
                    color: NookStyle.primaryText
                    font.pixelSize: NookStyle.titleSize - 1
                    font.weight: Font.DemiBold
                    Accessible.role: Accessible.Heading
                }
                Text {
                    anchors.baseline: headerTitle.baseline
                    text: drawer.headerSubtitle
                    color: NookStyle.secondaryText
                    font.pixelSize: NookStyle.captionSize
                }
            }

            Row {
                id: headerButtons
                anchors.right: parent.right
                anchors.verticalCenter: parent.verticalCenter
                spacing: 2

                NookIconButton {
                    diameter: 18
                    symbol: "today"
                    text: "Go to today"
                    help: "Go to today"
                    visible: drawer.agenda && !drawer.agenda.isTodaySelected
                    onClicked: drawer.selectDay(drawer.agenda.today)
                }
                NookIconButton {
                    diameter: 18
                    symbol: "open_in_new"
                    text: "Open calendar"
                    help: "Open your calendar app"
                    onClicked: drawer.openCalendarApp()
                }
            }
        }

        DateStrip {
            id: strip
            objectName: "dateStrip"
            anchors.top: header.bottom
            anchors.topMargin: 2
            anchors.left: parent.left
            anchors.right: parent.right
            drawer: drawer
        }

        Item {
            id: middle
            anchors.top: strip.bottom
            anchors.topMargin: 2
            anchors.bottom: field.top
            anchors.bottomMargin: 4
            anchors.left: parent.left
            anchors.right: parent.right
            readonly property bool previewing: field.typing || drawer.error.length > 0

            ListView {
                id: list
                anchors.fill: parent
                visible: !middle.previewing
                clip: true
                spacing: 2
                boundsBehavior: Flickable.StopAtBounds
                model: drawer.rows
                delegate: EventRow {
                    required property var modelData
                    width: ListView.view.width
                    row: modelData
                    onJoinRequested: url => drawer.join(url)
                }
            }

            // More below: the last row fades out rather than being cut.
            Rectangle {
                anchors.left: parent.left
                anchors.right: parent.right
                anchors.bottom: parent.bottom
                height: 8
                visible: list.visible && !list.atYEnd
                gradient: Gradient {
                    GradientStop { position: 0.0; color: "transparent" }
                    GradientStop { position: 1.0; color: NookStyle.background }
                }
            }

            Text {
                anchors.centerIn: parent
                visible: !middle.previewing && list.count === 0
                text: drawer.emptyText
                color: NookStyle.tertiaryText
                font.pixelSize: NookStyle.bodySize
            }

            // What Return would add, as the user types.
            Rectangle {
                anchors.fill: parent
                visible: middle.previewing
                radius: 8
                color: NookStyle.surface

                Text {
                    id: previewIcon
                    anchors.left: parent.left
                    anchors.leftMargin: 8
                    anchors.verticalCenter: parent.verticalCenter
                    text: drawer.error.length > 0 ? "error_outline" : "event"
                    font.family: NookStyle.iconFont
                    font.pixelSize: 16
                    color: drawer.error.length > 0 ? NookStyle.destructive : NookStyle.accent
                }
                Column {
                    anchors.left: previewIcon.right
                    anchors.leftMargin: 8
                    anchors.right: parent.right
                    anchors.rightMargin: 8
                    anchors.verticalCenter: parent.verticalCenter
                    spacing: 1

                    Text {
                        width: parent.width
                        text: drawer.error.length > 0 ? drawer.error
                              : drawer.text.length > 0 ? drawer.readBack
                              : drawer.exampleHint
                        color: drawer.error.length > 0 ? NookStyle.destructive
                               : drawer.text.length > 0 ? NookStyle.primaryText : NookStyle.secondaryText
                        font.pixelSize: NookStyle.bodySize
                        wrapMode: Text.Wrap
                        maximumLineCount: 2
                        elide: Text.ElideRight
                        Accessible.role: Accessible.StaticText
                        Accessible.name: text
                    }
                    Text {
                        visible: drawer.text.length > 0 && drawer.error.length === 0
                        text: drawer.returnHint
                        color: NookStyle.tertiaryText
                        font.pixelSize: NookStyle.smallSize
                    }
                }
            }
        }

        QuickAddField {
            id: field
            anchors.bottom: parent.bottom
            anchors.left: parent.left
            anchors.right: parent.right
            drawer: drawer
            model: root.model
        }
    }

    AccessPanel {
        anchors.fill: parent
        anchors.margins: 10
        anchors.bottomMargin: drawer.showsQuickAdd ? 44 : 10
        visible: !drawer.showsList
        drawer: drawer
    }

    // "Add events only" access still takes new events.
    QuickAddField {
        anchors.left: parent.left
        anchors.right: parent.right
        anchors.bottom: parent.bottom
        anchors.margins: 10
        anchors.bottomMargin: 8
        visible: !drawer.showsList && drawer.showsQuickAdd
        drawer: drawer
        model: root.model
    }
}
