import QtQuick
import QtQuick.Layouts
import "../style"

// A value of the overlay and its unit; marked while the pod has not been heard of.
Text {
    id: value

    property string unit: "°"

    Layout.fillWidth: true
    color: mainWindow.podStateOld ? Theme.stale : Theme.value
    font.pixelSize: 13

    Text {
        x: value.contentWidth
        color: value.color
        font: value.font
        text: value.unit
    }
}
