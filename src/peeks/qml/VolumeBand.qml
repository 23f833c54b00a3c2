import QtQuick
import Tarnwick

// The Now Playing page's volume band: the wedge and its readout.
Row {
    spacing: 8
    VolumeWedge { anchors.verticalCenter: parent.verticalCenter }
    VolumeReadout { anchors.verticalCenter: parent.verticalCenter }
}
