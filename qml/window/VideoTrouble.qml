import QtQuick
import VideoRenderer
import "../style"

// Why no picture comes, under the status that the video item writes in its middle.
Text {
    id: videoTrouble

    required property VideoRenderer video
    // What the drawer leaves free.
    required property real room
    readonly property bool covered: room < parent.width
    readonly property string reason: Texts.troubles[video.trouble] ?? ""

    // Clear of the status, which is of two lines when the video is narrow.
    readonly property int statusHeight: 60

    visible: text !== ""
    Accessible.role: Accessible.AlertMessage
    Accessible.name: text
    y: (parent.height + statusHeight) / 2
    x: Theme.gap
    width: room - 2 * Theme.gap
    horizontalAlignment: Text.AlignHCenter
    color: Theme.value
    font.pixelSize: 14
    text: reason
    textFormat: Text.PlainText
    wrapMode: Text.Wrap

    // The item's own words stand in the middle of the whole, where the drawer may be.
    Text {
        anchors.bottom: parent.top
        width: parent.width
        horizontalAlignment: Text.AlignHCenter
        color: parent.color
        font.bold: true
        font.pixelSize: 14
        text: Texts.translated(videoTrouble.video.status)
        visible: videoTrouble.covered
        wrapMode: Text.Wrap
    }
}
