import QtQuick
import "../../style"

// A length on the plan and what it stands for.
Item {
    id: bar

    property real length: 0 // pixels
    property alias text: caption.text

    width: length
    height: 20

    Text {
        id: caption
        anchors.horizontalCenter: parent.horizontalCenter
        color: Theme.drawerText
        font.pixelSize: 11
    }
    Rectangle {
        anchors.bottom: parent.bottom
        width: parent.width
        height: 2
        color: Theme.drawerText
    }
    Repeater {
        model: [0, bar.length - 2]

        Rectangle {
            required property real modelData
            x: modelData
            anchors.bottom: parent ? parent.bottom : undefined
            width: 2
            height: 6
            color: Theme.drawerText
        }
    }
}
