import QtQuick
import QtQuick.Controls
import "../style"

// A control's tooltip, beside it so that it covers none of its neighbours.
ToolTip {
    id: tip

    // Where the tip stands: Qt.LeftEdge, Qt.RightEdge or Qt.BottomEdge of the control.
    property int edge: Qt.LeftEdge
    property bool shown: false

    background: Rectangle {
        color: Theme.strip
        radius: Theme.radius
        border.width: 1
        border.color: Theme.stripBorder
    }
    visible: shown && text !== ""
    delay: Theme.tipDelayMs
    margins: Theme.gap
    x: edge === Qt.LeftEdge ? -width - 2 * Theme.gap
                            : edge === Qt.RightEdge ? parent.width + 2 * Theme.gap
                                                    : (parent.width - width) / 2
    y: edge === Qt.BottomEdge ? parent.height + Theme.gap : (parent.height - height) / 2
}
