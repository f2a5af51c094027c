import QtQuick
import "../style"

// An entry of a tool strip menu.
Rectangle {
    id: menuEntry

    property alias icon: image.source
    property alias tip: mouse.tip

    signal pressStarted()
    // The press is over, whatever ended it: released, cancelled, slid off, menu closed.
    signal pressEnded()
    signal triggered()

    width: parent.width - 2 * Theme.gap
    height: Theme.entryHeight
    radius: Theme.radius
    color: mouse.shade

    StripIcon {
        id: image
    }
    PressArea {
        id: mouse
        onPressed: menuEntry.pressStarted()
        onReleased: menuEntry.pressEnded()
        onCanceled: menuEntry.pressEnded()
        onContainsMouseChanged: if (!containsMouse) menuEntry.pressEnded()
        onVisibleChanged: if (!visible) menuEntry.pressEnded()
        onClicked: menuEntry.triggered()
    }
}
