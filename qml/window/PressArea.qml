import QtQuick
import "../style"

// The mouse of a flat button over the video: hover and press colours for its parent, a tooltip,
// and never the keyboard.
MouseArea {
    id: pressArea

    property alias tip: pressTip.text
    property alias tipEdge: pressTip.edge
    property alias tipBeside: pressTip.beside
    // What assistive programs call it.
    property string name: tip
    readonly property color shade: pressed ? Theme.pressed
                                           : containsMouse ? Theme.hovered : "transparent"

    anchors.fill: parent
    hoverEnabled: true
    Accessible.role: Accessible.Button
    Accessible.name: name
    Accessible.onPressAction: clicked(null)

    Tip {
        id: pressTip
        shown: pressArea.containsMouse && !pressArea.pressed
    }
}
