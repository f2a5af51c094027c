import QtQuick
import "../style"

// A value of the head-up line with its unit, behind its caption where there is room for that or the
// value says nothing without.
Row {
    id: item

    property alias caption: captionText.text
    property alias value: valueText.text
    // Was true once, but has not been heard of for a while.
    property bool old: false
    property bool captionNeeded: false
    required property bool narrow
    property color color: Theme.value

    spacing: 4
    Accessible.role: Accessible.StaticText
    Accessible.name: caption + ": " + value
    rightPadding: 12

    Text {
        id: captionText
        color: Theme.caption
        font.pixelSize: Theme.headUpFontSize
        visible: item.captionNeeded || !item.narrow
    }
    Text {
        id: valueText
        objectName: item.objectName + "Value"
        color: item.old ? Theme.stale : item.color
        font.pixelSize: Theme.headUpFontSize
    }
}
