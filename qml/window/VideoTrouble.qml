import QtQuick
import VideoRenderer
import "../style"

// Why no picture comes, under the status that the video item writes in its middle.
Text {
    id: videoTrouble

    required property VideoRenderer video

    // Clear of the status, which is of two lines when the video is narrow.
    readonly property int statusHeight: 60

    visible: text !== ""
    Accessible.role: Accessible.AlertMessage
    Accessible.name: text
    anchors.horizontalCenter: parent.horizontalCenter
    y: (parent.height + statusHeight) / 2
    width: parent.width - 2 * Theme.gap
    horizontalAlignment: Text.AlignHCenter
    color: Theme.value
    font.pixelSize: 14
    text: Texts.troubles[video.trouble] ?? ""
    textFormat: Text.PlainText
    wrapMode: Text.Wrap
}
