import QtQuick
import "../style"

// Shows the tooltip that is wanted, after a while, above everything in the window. It takes no
// input, and it is no popup: the overlay of a popup takes the next press anywhere in the window,
// even while the popup only fades.
Item {
    id: tipLayer

    property Tip current: null
    // In the layer's coordinates.
    property rect control
    property rect group

    readonly property int padding: 10

    function show(tip: Tip) {
        current = tip;
        bubble.visible = false;
        delayTimer.restart();
    }

    function hide(tip: Tip) {
        if (current !== tip)
            return;
        current = null;
        delayTimer.stop();
        bubble.visible = false;
    }

    function rectOf(item: Item): rect {
        const corner = tipLayer.mapFromItem(item, 0, 0);
        return Qt.rect(corner.x, corner.y, item.width, item.height);
    }

    function place() {
        control = rectOf(current.parent);
        group = rectOf(current.beside);
        bubble.visible = true;
    }

    function inside(position: real, length: real, whole: real): real {
        return Math.max(Theme.gap, Math.min(position, whole - length - Theme.gap));
    }

    Timer {
        id: delayTimer
        interval: Theme.tipDelayMs
        onTriggered: tipLayer.place()
    }
    Rectangle {
        id: bubble
        objectName: "tipBubble"

        readonly property int edge: tipLayer.current ? tipLayer.current.edge : Qt.LeftEdge
        readonly property real gap: 2 * Theme.gap
        // A narrow place takes more lines.
        readonly property real room: (edge === Qt.LeftEdge ? tipLayer.group.left - gap
                                                           : tipLayer.width) - Theme.gap

        visible: false
        width: Math.min(label.implicitWidth + 2 * tipLayer.padding, room)
        height: label.height + 2 * Theme.gap
        x: tipLayer.inside(edge === Qt.LeftEdge ? tipLayer.group.left - width - gap
                           : edge === Qt.RightEdge ? tipLayer.group.right + gap
                           : tipLayer.group.left + (tipLayer.group.width - width) / 2,
                           width, tipLayer.width)
        y: tipLayer.inside(edge === Qt.BottomEdge ? tipLayer.group.bottom + Theme.gap
                           : tipLayer.control.top + (tipLayer.control.height - height) / 2,
                           height, tipLayer.height)
        color: Theme.strip
        radius: Theme.radius
        border.width: 1
        border.color: Theme.stripBorder

        Text {
            id: label
            x: tipLayer.padding
            y: Theme.gap
            width: bubble.width - 2 * tipLayer.padding
            color: Theme.value
            font.pixelSize: Theme.drawerFontSize
            text: tipLayer.current ? tipLayer.current.text : ""
            wrapMode: Text.Wrap
        }
    }
}
