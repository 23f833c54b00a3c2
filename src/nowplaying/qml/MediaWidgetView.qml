import QtQuick
import Tarnwick

// The Now Playing page: the turntable, what plays, the play head and the
// controls. Everything it shows comes from NowPlayingService; it keeps no
// state of its own beyond the position it shows between two reports.
Item {
    id: page

    // The shell puts its volume control here.
    property Component volumeBand
    readonly property alias volumeSlot: volumeSlot
    // Music mode puts its toggle here.
    readonly property alias musicModeSlot: musicModeSlot

    readonly property var service: NowPlayingService
    readonly property bool showsTrack: service.placeholderText.length === 0
    readonly property color highlight: service.highlightColor

    implicitWidth: 530
    implicitHeight: 120

    TurntableView {
        id: turntable
        x: 12
        anchors.verticalCenter: parent.verticalCenter
        width: 104
        height: 104
        playing: page.showsTrack && page.service.isPlaying
        hasCover: page.showsTrack && page.service.hasArtwork
        cover: page.service.artwork
        accent: page.service.accentColor
        labelColor: page.service.labelColor
    }

    // Music mode's toggle, top right.
    Item {
        id: musicModeSlot
        objectName: "musicModeSlot"
        anchors.right: parent.right
        anchors.rightMargin: 12
        y: 10
        width: 28
        height: 28
        MusicModeButton { anchors.fill: parent; highlight: page.highlight }
    }

    Item {
        id: details
        anchors.left: turntable.right
        anchors.leftMargin: 16
        anchors.right: musicModeSlot.left
        anchors.rightMargin: 8
        anchors.top: parent.top
        anchors.topMargin: 10
        anchors.bottom: parent.bottom
        anchors.bottomMargin: 8
        visible: page.showsTrack

        Text {
            id: title
            width: parent.width
            text: page.service.title
            color: NookStyle.primaryText
            font.pixelSize: NookStyle.titleSize
            font.weight: Font.DemiBold
            elide: Text.ElideRight
            Accessible.role: Accessible.StaticText
            Accessible.name: text
        }
        Text {
            id: artist
            anchors.top: title.bottom
            anchors.topMargin: 1
            width: parent.width
            text: page.service.subtitle
            color: NookStyle.secondaryText
            font.pixelSize: NookStyle.bodySize
            elide: Text.ElideRight
        }

        Item {
            id: timeline
            anchors.top: artist.bottom
            anchors.topMargin: 7
            width: parent.width
            height: 14
            visible: page.service.canSeek

            // The position shown, extrapolated from the last report; it is
            // refreshed only while the track plays and the page is seen.
            property real shownPosition: 0
            // Set, not bound: dragging the bar would otherwise cut the binding.
            function refresh() {
                if (seek.pressed)
                    return
                shownPosition = Math.max(0, page.service.position())
                seek.value = shownPosition
            }
            Connections {
                target: page.service
                function onTrackChanged() { timeline.refresh() }
            }
            Component.onCompleted: refresh()
            Timer {
                interval: 250
                repeat: true
                running: page.visible && timeline.visible && page.service.isPlaying && !seek.pressed
                onTriggered: timeline.refresh()
            }

            Text {
                id: elapsedText
                anchors.verticalCenter: parent.verticalCenter
                width: 34
                text: NowPlayingService.formatTime(seek.pressed ? seek.value : timeline.shownPosition)
                color: NookStyle.tertiaryText
                font.pixelSize: NookStyle.smallSize
            }
            SeekBar {
                id: seek
                objectName: "seekBar"
                onToChanged: timeline.refresh()
                anchors.left: elapsedText.right
                anchors.right: durationText.left
                anchors.rightMargin: 6
                anchors.verticalCenter: parent.verticalCenter
                to: Math.max(1, page.service.duration)
                stepSize: 5
                fill: page.highlight
                onSeekRequested: seconds => page.service.seekTo(seconds)
            }
            Text {
                id: durationText
                anchors.right: parent.right
                anchors.verticalCenter: parent.verticalCenter
                width: 34
                horizontalAlignment: Text.AlignRight
                text: NowPlayingService.formatTime(page.service.duration)
                color: NookStyle.tertiaryText
                font.pixelSize: NookStyle.smallSize
            }
        }

        Row {
            id: controls
            anchors.bottom: parent.bottom
            x: -6
            spacing: 4

            Item {
                width: 30
                height: 34
                NookIconButton {
                    anchors.centerIn: parent
                    visible: page.service.shuffleKnown
                    symbol: "shuffle"
                    text: qsTr("Shuffle")
                    help: page.service.shuffleHelp
                    tint: page.service.shuffleOn ? page.highlight : NookStyle.tertiaryText
                    onClicked: page.service.advanceShuffle()
                }
            }
            NookIconButton {
                anchors.verticalCenter: parent.verticalCenter
                symbol: "skip_previous"
                text: qsTr("Previous")
                help: qsTr("Previous track")
                diameter: 30
                onClicked: page.service.previousTrack()
            }
            NookIconButton {
                anchors.verticalCenter: parent.verticalCenter
                symbol: page.service.isPlaying ? "pause" : "play_arrow"
                text: page.service.isPlaying ? qsTr("Pause") : qsTr("Play")
                help: text
                diameter: 34
                prominent: true
                onClicked: page.service.togglePlayPause()
            }
            NookIconButton {
                anchors.verticalCenter: parent.verticalCenter
                symbol: "skip_next"
                text: qsTr("Next")
                help: qsTr("Next track")
                diameter: 30
                onClicked: page.service.nextTrack()
            }
            Item {
                width: 30
                height: 34
                NookIconButton {
                    anchors.centerIn: parent
                    visible: page.service.repeatKnown
                    symbol: page.service.repeatOne ? "repeat_one" : "repeat"
                    text: qsTr("Repeat")
                    help: page.service.repeatHelp
                    tint: page.service.repeatOn ? page.highlight : NookStyle.tertiaryText
                    onClicked: page.service.advanceRepeat()
                }
            }
        }

        // The shell's volume control, at the end of the controls row.
        Item {
            id: volumeSlot
            objectName: "volumeSlot"
            anchors.right: parent.right
            anchors.verticalCenter: controls.verticalCenter
            width: Math.min(140, parent.width - controls.width - 8)
            height: 28
            Loader {
                anchors.fill: parent
                sourceComponent: page.volumeBand
            }
        }
    }

    // Nothing plays, or Now Playing cannot work: say so beside a resting record.
    Text {
        anchors.left: turntable.right
        anchors.leftMargin: 16
        anchors.right: musicModeSlot.left
        anchors.rightMargin: 8
        anchors.verticalCenter: parent.verticalCenter
        visible: !page.showsTrack
        text: page.service.placeholderText
        color: NookStyle.secondaryText
        font.pixelSize: NookStyle.bodySize
        lineHeight: 1.15
        wrapMode: Text.WordWrap
        maximumLineCount: 3
        elide: Text.ElideRight
        Accessible.role: Accessible.StaticText
        Accessible.name: text
    }
}
