import QtQuick
import QtQuick.Layouts
import "../style"

// A value of the overlay and its unit; marked while the pod has not been heard of.
Text {
    id: infoValue

    property string unit: "°"

    Layout.fillWidth: true
    color: mainWindow.podStateOld ? Theme.stale : Theme.value
    font.pixelSize: 13

    Text {
        x: infoValue.contentWidth
        color: infoValue.color
        font: infoValue.font
        text: infoValue.unit
    }
}
