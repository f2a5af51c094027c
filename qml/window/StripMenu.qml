import QtQuick
import QtQuick.Controls
import "../style"

// A menu of the tool strip, opened to the left of its button. The keyboard stays with the video,
// so that the keys steer while a menu is open; the video closes it on Escape. Modal, so that the press
// that closes it does nothing else: it neither points nor opens the menu again.
Popup {
    id: stripMenu

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
    onAboutToHide: mainWindow.takePress()
    background: Rectangle {
        color: Theme.strip
        radius: Theme.panelRadius
        border.width: 1
        border.color: Theme.stripBorder
    }
    contentItem: Column {
        padding: Theme.gap
        spacing: Theme.gap
    }
}
