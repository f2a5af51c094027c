import QtQuick

// The small picture of a title bar button.
Rectangle {
    property alias source: image.source

    width: 12
    height: 12
    anchors.centerIn: parent
    color: "transparent"

    Image {
        id: image
        anchors.fill: parent
        sourceSize.width: width
        sourceSize.height: height
        mipmap: true
    }
}
