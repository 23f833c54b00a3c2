import QtQuick
import Tarnwick

// The Now Playing page's volume band: the wedge and its readout, or, while
// AirPods play and their levels are known, their batteries in its place.
Item {
    implicitWidth: AirPodsBattery.hasLevels ? detail.implicitWidth : volume.implicitWidth
    implicitHeight: Math.max(detail.implicitHeight, volume.implicitHeight)

    Row {
        id: volume
        visible: !AirPodsBattery.hasLevels
        anchors.verticalCenter: parent.verticalCenter
        spacing: 8
        VolumeWedge { anchors.verticalCenter: parent.verticalCenter }
        VolumeReadout { anchors.verticalCenter: parent.verticalCenter }
    }
    AirPodsBatteryDetail {
        id: detail
        objectName: "airPodsBatteryDetail"
        visible: AirPodsBattery.hasLevels
        anchors.verticalCenter: parent.verticalCenter
    }
}
