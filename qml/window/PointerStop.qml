import QtQuick

// The ground of a panel over the video: what the pointer does between the panel's buttons ends here
// and does not steer.
MouseArea {
    anchors.fill: parent
    acceptedButtons: Qt.AllButtons
    onWheel: wheel => wheel.accepted = true
}
