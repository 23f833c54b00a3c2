import QtQuick
import Tarnwick

// Stands in for the grid when a feed has nothing to show or can't be read.
Item {
    id: message

    property string symbol
    property string title
    property string detail

    Accessible.role: Accessible.StaticText
    Accessible.name: detail.length > 0 ? title + ". " + detail : title

    Row {
        anchors.centerIn: parent
        spacing: 12
        width: Math.min(implicitWidth, message.width - 2 * NookStyle.padding)

        Rectangle {
            id: badge
            visible: message.symbol.length > 0
            width: 36
            height: 36
            radius: 18
            color: NookStyle.surface
            anchors.verticalCenter: parent.verticalCenter

            Text {
                anchors.centerIn: parent
                text: message.symbol
                font.family: NookStyle.iconFont
                font.pixelSize: 20
                color: NookStyle.secondaryText
            }
        }

        Column {
            anchors.verticalCenter: parent.verticalCenter
            spacing: 3
            width: Math.min(Math.max(titleText.implicitWidth, detailText.implicitWidth),
                            message.width - 2 * NookStyle.padding - (badge.visible ? badge.width + 12 : 0))

            Text {
                id: titleText
                width: parent.width
                text: message.title
                color: NookStyle.primaryText
                font.pixelSize: NookStyle.bodySize + 1
                font.weight: Font.DemiBold
                elide: Text.ElideRight
            }
            Text {
                id: detailText
                width: parent.width
                visible: text.length > 0
                text: message.detail
                color: NookStyle.secondaryText
                font.pixelSize: NookStyle.captionSize
                wrapMode: Text.Wrap
                maximumLineCount: 2
                elide: Text.ElideRight
            }
        }
    }
}
