pragma Singleton
import QtQuick

// The Nook's look in one place: every page and drawer takes its colours,
// type sizes and spacing from here.
QtObject {
    readonly property color background: "#000000"
    readonly property color surface: Qt.rgba(1, 1, 1, 0.08)
    readonly property color surfaceHover: Qt.rgba(1, 1, 1, 0.14)
    readonly property color surfacePressed: Qt.rgba(1, 1, 1, 0.22)
    readonly property color primaryText: "#ffffff"
    readonly property color secondaryText: Qt.rgba(1, 1, 1, 0.62)
    readonly property color tertiaryText: Qt.rgba(1, 1, 1, 0.38)
    readonly property color separator: Qt.rgba(1, 1, 1, 0.12)
    readonly property color focusRing: Qt.rgba(1, 1, 1, 0.7)
    readonly property color accent: "#0a84ff"
    readonly property color destructive: "#ff453a"

    readonly property string iconFont: "Material Icons"
    readonly property int titleSize: 14
    readonly property int bodySize: 12
    readonly property int captionSize: 11
    readonly property int smallSize: 10

    readonly property real padding: 12
    readonly property real spacing: 8
    readonly property real cornerRadius: 10
    readonly property int hoverFadeMs: 120
}
