import QtQuick
import QtQuick.Layouts
import QtQuick.Controls.Fusion
import Tarnwick

ApplicationWindow {
    id: window
    title: "Tarnwick Settings"
    width: 560
    height: 700
    minimumWidth: 460
    minimumHeight: 420
    visible: false

    Shortcut { sequences: [StandardKey.Close, "Escape"]; onActivated: window.close() }
    Shortcut { sequence: StandardKey.Quit; onActivated: Qt.quit() }

    component SectionTitle: Label {
        font.pixelSize: 13
        font.bold: true
        opacity: 0.8
        Layout.topMargin: 18
        Layout.bottomMargin: 4
    }

    component Group: Frame {
        default property alias content: column.data
        Layout.fillWidth: true
        padding: 4
        ColumnLayout {
            id: column
            anchors.left: parent.left
            anchors.right: parent.right
            spacing: 0
        }
    }

    ScrollView {
        id: scroller
        anchors.fill: parent
        contentWidth: availableWidth

        ColumnLayout {
            width: scroller.availableWidth - 48
            x: 24
            spacing: 6

            Item { Layout.preferredHeight: 6 }

            SectionTitle { text: "General" }
            Group {
                ItemDelegate {
                    id: loginRow
                    Layout.fillWidth: true
                    padding: 10
                    text: "Open Tarnwick when you log in"
                    Accessible.role: Accessible.CheckBox
                    Accessible.checkable: true
                    Accessible.checked: LaunchAtLogin.isEnabled
                    onClicked: LaunchAtLogin.setEnabled(!LaunchAtLogin.isEnabled)
                    contentItem: RowLayout {
                        Label { text: loginRow.text; Layout.fillWidth: true }
                        Switch {
                            objectName: "loginSwitch"
                            checked: LaunchAtLogin.isEnabled
                            focusPolicy: Qt.NoFocus
                            Accessible.ignored: true
                            // A toggle flips the switch at once; the entry may
                            // still fail to change, so it shows the real state
                            // again whatever came of it.
                            onToggled: {
                                LaunchAtLogin.setEnabled(checked)
                                checked = Qt.binding(() => LaunchAtLogin.isEnabled)
                            }
                        }
                    }
                }
                Label {
                    visible: LaunchAtLogin.status === LaunchAtLogin.RequiresApproval
                    text: "Your desktop needs you to allow Tarnwick to start at login."
                    wrapMode: Text.WordWrap
                    Layout.fillWidth: true
                    Layout.margins: 10
                }
                Label {
                    visible: LaunchAtLogin.lastError.length > 0
                    text: "Couldn't change this: " + LaunchAtLogin.lastError
                    color: "#d70015"
                    wrapMode: Text.WordWrap
                    Layout.fillWidth: true
                    Layout.margins: 10
                }
            }

            SectionTitle { text: "Widgets" }
            Group {
                SettingsWidgetRow {
                    symbol: "album"; title: "Now Playing"
                    detail: "The turntable: what's playing, with controls."
                    on: NookSettings.showsNowPlaying
                    onToggled: (on) => NookSettings.showsNowPlaying = on
                }
                SettingsWidgetRow {
                    symbol: "inbox"; title: "Tray"
                    detail: "Files dropped on the notch, Downloads, and Recent."
                    on: NookSettings.showsTray
                    onToggled: (on) => NookSettings.showsTray = on
                }
                SettingsWidgetRow {
                    symbol: "videocam"; title: "Mirror"
                    detail: "Left drawer: camera, lighting and framing checks."
                    on: NookSettings.showsMirror
                    onToggled: (on) => NookSettings.showsMirror = on
                }
                SettingsWidgetRow {
                    symbol: "calendar_today"; title: "Calendar"
                    detail: "Right drawer: your days, events, and quick add."
                    on: NookSettings.showsCalendar
                    onToggled: (on) => NookSettings.showsCalendar = on
                }
            }
            Label {
                text: "The drawers slide out of the first page when the pointer reaches its left or right edge. A widget that's off doesn't run at all: no Now Playing helper, no camera."
                wrapMode: Text.WordWrap
                opacity: 0.65
                font.pixelSize: 11
                Layout.fillWidth: true
                Layout.leftMargin: 4
                Layout.rightMargin: 4
            }

            SectionTitle { text: "Acknowledgements" }
            Group {
                Label {
                    text: "Tarnwick is built on these open-source components, used under the terms of their licences:"
                    wrapMode: Text.WordWrap
                    Layout.fillWidth: true
                    Layout.margins: 10
                }
                Repeater {
                    model: SettingsWindowController.acknowledgements
                    delegate: ColumnLayout {
                        id: component
                        required property var modelData
                        required property int index
                        property bool expanded: false
                        Layout.fillWidth: true
                        Layout.leftMargin: 10
                        Layout.rightMargin: 10
                        spacing: 2
                        RowLayout {
                            Layout.fillWidth: true
                            ColumnLayout {
                                Layout.fillWidth: true
                                spacing: 0
                                Label { text: component.modelData.name; font.bold: true }
                                Label {
                                    text: component.modelData.use + " · " + component.modelData.licence
                                    opacity: 0.7
                                    font.pixelSize: 11
                                    wrapMode: Text.WordWrap
                                    Layout.fillWidth: true
                                }
                            }
                            Button {
                                text: component.expanded ? "Hide notice" : "Show notice"
                                flat: true
                                onClicked: component.expanded = !component.expanded
                            }
                        }
                        TextArea {
                            visible: component.expanded
                            readOnly: true
                            wrapMode: Text.WordWrap
                            font.family: "monospace"
                            font.pixelSize: 10
                            text: component.expanded ? SettingsWindowController.notice(component.index) : ""
                            Layout.fillWidth: true
                            Layout.maximumHeight: 220
                        }
                        Item { Layout.preferredHeight: 6 }
                    }
                }
            }

            SectionTitle { text: "Version" }
            Group {
                Label {
                    text: "Tarnwick " + SettingsWindowController.version + " (build " + SettingsWindowController.build + ")"
                    Layout.margins: 10
                    Layout.fillWidth: true
                }
            }
            Item { Layout.preferredHeight: 18 }
        }
    }
}
