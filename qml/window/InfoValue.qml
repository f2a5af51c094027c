import QtQuick
import QtQuick.Layouts
import "../style"

// A value of the overlay; marked while the pod has not been heard of.
Text {
    Layout.fillWidth: true
    color: mainWindow.podStateOld ? Theme.stale : Theme.value
    font.pixelSize: 13
}
