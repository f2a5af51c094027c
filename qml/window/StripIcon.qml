import QtQuick
import "../style"

// The icon in the middle of a button over the video.
Image {
    width: Theme.iconSize
    height: Theme.iconSize
    anchors.centerIn: parent
    sourceSize.width: width
    sourceSize.height: height
    fillMode: Image.PreserveAspectFit
}
