import QtQuick
import VideoRenderer
import "../style"

// Why no picture comes, under the status that the video item writes in its middle.
Item {
    id: videoTrouble

    required property VideoRenderer video
    // What the drawer leaves free.
    required property real room
    readonly property bool covered: room < parent.width
    readonly property string reason: Texts.troubles[video.trouble] ?? ""
    readonly property string text: reasonText.text

    // Clear of the status, which is of two lines when the video is narrow.
    readonly property int statusHeight: 60

    Accessible.ignored: reason === ""
    Accessible.role: Accessible.AlertMessage
    Accessible.name: reason
    width: room
    height: parent.height

    // The item's own words stand in the middle of the whole, half behind the drawer: a band takes them
    // away, and they are said again where they can be read. Never over a picture.
    Rectangle {
        id: band
        anchors.verticalCenter: parent.verticalCenter
        width: parent.width
        height: videoTrouble.statusHeight
        color: Theme.noPicture
        visible: videoTrouble.covered && videoTrouble.video.status !== ""
                 && videoTrouble.video.contentRect.height <= 0

        Text {
            anchors.fill: parent
            anchors.margins: Theme.gap
            color: Theme.value
            font.bold: true
            font.pixelSize: 14
            horizontalAlignment: Text.AlignHCenter
            text: Texts.translated(videoTrouble.video.status)
            textFormat: Text.PlainText
            verticalAlignment: Text.AlignVCenter
            wrapMode: Text.Wrap
        }
    }
    Text {
        id: reasonText
        x: Theme.gap
        y: (parent.height + videoTrouble.statusHeight) / 2
        width: parent.width - 2 * Theme.gap
        color: Theme.value
        font.pixelSize: 14
        horizontalAlignment: Text.AlignHCenter
        text: videoTrouble.reason
        textFormat: Text.PlainText
        wrapMode: Text.Wrap
    }
}
