import QtQuick
import QtQuick.Layouts
import QtQuick.Controls.Fusion

// One widget switch of the Settings window: symbol, title, detail, toggle.
// The whole row toggles, so the target is big and the label is the switch's
// accessible name.
ItemDelegate {
    id: row
    required property string symbol
    required property string title
    required property string detail
    property bool on: false
    signal toggled(bool on)

    Layout.fillWidth: true
    padding: 10
    Accessible.role: Accessible.CheckBox
    Accessible.name: title
    Accessible.description: detail
    Accessible.checkable: true
    Accessible.checked: on
    onClicked: row.toggled(!row.on)

    contentItem: RowLayout {
        spacing: 12
        Rectangle {
            Layout.preferredWidth: 32
            Layout.preferredHeight: 32
            radius: 8
            color: row.palette.highlight
            opacity: row.on ? 1 : 0.45
            Text {
                anchors.centerIn: parent
                text: row.symbol
                font.family: "Material Icons"
                font.pixelSize: 20
                color: row.palette.highlightedText
            }
        }
        ColumnLayout {
            Layout.fillWidth: true
            spacing: 2
            Label {
                text: row.title
                font.bold: true
                Layout.fillWidth: true
            }
            Label {
                text: row.detail
                opacity: 0.7
                wrapMode: Text.WordWrap
                Layout.fillWidth: true
            }
        }
        Switch {
            checked: row.on
            focusPolicy: Qt.NoFocus
            onToggled: row.toggled(checked)
            Accessible.ignored: true
        }
    }
}
