import QtQuick
import VideoRenderer
import "../style"

// Marks a picture that stands still while the stream is believed to run: what is on the screen is
// not what the camera sees now.
Item {
    id: mark

    required property VideoRenderer video

    x: video.contentRect.x
    y: video.contentRect.y
    width: video.contentRect.width
    height: video.contentRect.height
    visible: video.pictureOld
    // Not the seconds: each would be announced.
    Accessible.role: Accessible.AlertMessage
    Accessible.name: Texts.pictureStands

    Rectangle {
        anchors.fill: parent
        color: "transparent"
        border.color: Theme.stale
        border.width: Theme.gap
    }
    Rectangle {
        anchors.centerIn: parent
        width: Math.min(mark.width, label.implicitWidth + 8 * Theme.gap)
        height: label.implicitHeight + 4 * Theme.gap
        color: Theme.linkGround
        border.color: Theme.stale
        border.width: 1
        radius: Theme.radius

        Text {
            id: label
            objectName: "oldPictureText"
            anchors.centerIn: parent
            width: Math.min(implicitWidth, parent.width - 2 * Theme.gap)
            color: Theme.stale
            elide: Text.ElideRight
            font.bold: true
            font.pixelSize: 18
            // Tenths: what steps faster cannot be read.
            text: Texts.oldPicture(mark.video.pictureAge / 1000)
        }
    }
}
