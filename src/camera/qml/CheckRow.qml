import QtQuick
import Tarnwick

// One verdict: what is checked (as a symbol), what it reads, and a green or
// amber mark for good or not.
Row {
    id: row

    property string icon
    property string text
    property bool isGood

    spacing: 5

    Text {
        anchors.verticalCenter: parent.verticalCenter
        text: row.isGood ? "check_circle" : "error"
        font.family: NookStyle.iconFont
        font.pixelSize: 15
        color: row.isGood ? "#30d158" : "#ff9f0a"
    }
    Text {
        anchors.verticalCenter: parent.verticalCenter
        text: row.icon
        font.family: NookStyle.iconFont
        font.pixelSize: 14
        color: NookStyle.secondaryText
    }
    Text {
        anchors.verticalCenter: parent.verticalCenter
        width: row.width - 40
        text: row.text
        color: NookStyle.primaryText
        font.pixelSize: NookStyle.bodySize
        elide: Text.ElideRight
        Accessible.role: Accessible.StaticText
    }
}
