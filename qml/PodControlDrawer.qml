import QtQuick
import "style"

// Holds the drawer's place: everything that is no gesture on the video.
Rectangle {
    id: root

    signal urlChanged(newUrl: string)
    signal pageChanged(page: int)
    signal closed()

    property bool opened: false

    color: Theme.drawer

    MouseArea {
        anchors.fill: parent
        acceptedButtons: Qt.AllButtons
        onWheel: wheel => wheel.accepted = true
    }
}
