import QtQuick
import "../style"

// A button of the tool strip: an icon that does something or opens a menu.
Rectangle {
    id: stripButton

    property alias icon: image.source
    property string tip: ""
    property bool menuOpen: false
    // An open menu stands where the tip would.
    required property bool anyMenuOpen
    // What the icon tells was true once, but has not been heard of for a while.
    property bool old: false

    signal clicked()

    readonly property alias hasKeyboard: mouse.activeFocus

    function takeKeyboard() {
        mouse.takeKeyboard();
    }

    width: visible ? parent.width : 0
    height: visible ? Theme.buttonHeight : 0
    radius: Theme.radius
    border.width: old ? 1 : 0
    border.color: Theme.stale
    color: menuOpen ? Theme.pressed : mouse.shade

    StripIcon {
        id: image
    }
    PressArea {
        id: mouse
        name: stripButton.tip
        tip: stripButton.anyMenuOpen ? "" : stripButton.tip
        onClicked: stripButton.clicked()
    }
}
