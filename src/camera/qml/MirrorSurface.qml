import QtQuick
import Tarnwick

// The rounded, dark surface the live picture sits on.
Rectangle {
    radius: NookStyle.cornerRadius
    color: "#161616"
    border.width: 1
    border.color: NookStyle.separator
    clip: true
}
