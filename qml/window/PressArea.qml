import QtQuick
import QtQuick.Controls
import "../style"

// The mouse of a flat button over the video: hover and press colours for its parent, a tooltip,
// and never the keyboard.
MouseArea {
    id: pressArea

    property string tip
    readonly property color shade: pressed ? Theme.pressed
                                           : containsMouse ? Theme.hovered : "transparent"

    anchors.fill: parent
    hoverEnabled: true

    ToolTip.visible: containsMouse && !pressed && tip !== ""
    ToolTip.delay: Theme.tipDelayMs
    ToolTip.text: tip
}
