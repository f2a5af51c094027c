import QtQuick
import "../style"

// An entry of a tool strip menu.
Rectangle {
    id: menuEntry

    property alias icon: image.source
    property string tip: ""
    property bool lastSent: false

    signal pressStarted()
    // The press is over, whatever ended it: released, cancelled, slid off, menu closed.
    signal pressEnded()
    signal triggered()

    function takeKeyboard() {
        mouse.takeKeyboard();
    }

    width: parent.width - 2 * Theme.gap
    height: Theme.entryHeight
    radius: Theme.radius
    color: mouse.shade

    StripIcon {
        id: image
    }
    Rectangle {
        objectName: "lastSentMark"
        width: 3
        height: parent.height
        color: Theme.focusRing
        visible: menuEntry.lastSent
    }
    PressArea {
        id: mouse
        tip: menuEntry.tip + (menuEntry.lastSent ? Texts.lastSent : "")
        onHoldStarted: menuEntry.pressStarted()
        onHoldEnded: menuEntry.pressEnded()
        Keys.onUpPressed: nextItemInFocusChain(false).forceActiveFocus(Qt.TabFocusReason)
        Keys.onDownPressed: nextItemInFocusChain(true).forceActiveFocus(Qt.TabFocusReason)
        onClicked: menuEntry.triggered()
    }
}
