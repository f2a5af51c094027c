import QtQuick
import "../style"

// Shows that the keyboard is at the control in which it is declared.
Rectangle {
    property Item control: parent

    objectName: "focusRing"
    anchors.fill: parent
    anchors.margins: -2
    z: 1
    visible: control.activeFocus
    color: "transparent"
    border.width: 2
    border.color: Theme.focusRing
    radius: Theme.radius + 2
}
