import QtQuick
import "../../style"

// A progress bar with its percentage; values beyond 100 (the end mark) count as 100.
Rectangle {
    id: bar

    property real percent: 0
    readonly property real shown: Math.max(0, Math.min(100, percent))

    implicitHeight: 20
    Accessible.role: Accessible.ProgressBar
    Accessible.name: Texts.progress + " " + percentText.text
    color: Theme.progressBackground
    border.color: Theme.progressBorder
    radius: 4

    Rectangle {
        objectName: "progressForeground"
        x: 1
        y: 1
        width: (parent.width - 2) * bar.shown / 100
        height: parent.height - 2
        color: Theme.progressForeground
        radius: 3
    }
    Text {
        id: percentText
        anchors.centerIn: parent
        color: "white"
        font.pixelSize: 12
        text: Math.floor(bar.shown) + " %"
    }
}
