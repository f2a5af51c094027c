import QtQuick
import QtQuick.Layouts
import "../style"

// The pod's attitude and the position of its target.
Rectangle {
    id: podInfo

    // Angles come in tenths of a degree, positions in 1e-7 degrees, the altitude in metres.
    readonly property int angleDigits: 1
    readonly property int positionDigits: 6

    height: 80
    color: Theme.panel
    radius: 5

    // The pod writes over its picture, too, just here: its text must not show through this one.
    Rectangle {
        anchors.fill: parent
        z: -1
        color: Theme.shade
        radius: podInfo.radius
    }
    GridLayout {
        id: buttonGrid
        anchors.fill: parent
        anchors.leftMargin: 10
        anchors.rightMargin: 10
        anchors.topMargin: 15
        anchors.bottomMargin: 15
        columns: 6
        rowSpacing: 15
        columnSpacing: 1

        InfoCaption { text: "Yaw:" }
        InfoValue { objectName: "yawValue"; text: cMain.yaw.toFixed(podInfo.angleDigits) }
        InfoCaption { text: "Pitch:" }
        InfoValue { objectName: "pitchValue"; text: cMain.pitch.toFixed(podInfo.angleDigits) }
        InfoCaption { text: "Roll:" }
        InfoValue { objectName: "rollValue"; text: cMain.roll.toFixed(podInfo.angleDigits) }
        InfoCaption { text: "Lat:" }
        InfoValue { objectName: "latValue"; text: cMain.targetLatitude.toFixed(podInfo.positionDigits) }
        InfoCaption { text: "Lon:" }
        InfoValue { objectName: "lonValue"; text: cMain.targetLongitude.toFixed(podInfo.positionDigits) }
        InfoCaption { text: "Alt:" }
        InfoValue { objectName: "altValue"; text: cMain.targetAltitude.toFixed(0); unit: " m" }
    }

    HoverHandler {
        id: hover
    }
    Tip {
        edge: Qt.RightEdge
        shown: hover.hovered
        text: cMain.statusStale ? Texts.stale
                                : mainWindow.podStateOld ? Texts.disconnected : Texts.podInfo
    }
}
