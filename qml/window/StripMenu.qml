import QtQuick
import QtQuick.Controls
import "../style"

// A menu of the tool strip, opened to the left of its button. The keyboard stays with the video, which
// closes the menu on Escape, unless the keyboard opened it. The keys steer either way. Modal, so that the press
// that closes it does nothing else: it neither points nor opens the menu again.
Popup {
    id: stripMenu

    readonly property StripButton opener: parent as StripButton
    property bool byKey: false

    x: -width - 3 * Theme.gap
    y: parent ? (parent.height - height) / 2 : 0
    width: 55
    padding: 0
    margins: Theme.gap
    modal: true
    dim: false
    closePolicy: Popup.CloseOnEscape | Popup.CloseOnPressOutside

    // No fading: as long as it lasts the window takes no click.
    exit: Transition {}
    onAboutToShow: byKey = opener.hasKeyboard
    onOpened: if (byKey) (contentItem.children[0] as MenuEntry).takeKeyboard()
    onAboutToHide: mainWindow.takePress()
    onClosed: if (byKey) opener.takeKeyboard()
    background: Rectangle {
        color: Theme.strip
        radius: Theme.panelRadius
        border.width: 1
        border.color: Theme.stripBorder
    }
    contentItem: Column {
        Keys.forwardTo: [mainWindow.video]
        padding: Theme.gap
        spacing: Theme.gap
    }
}
