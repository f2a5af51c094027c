import QtQuick
import QtQuick.Controls
import "../style"

// A menu of the tool strip, opened to the left of its button. The keyboard stays with the video, which
// closes the menu on Escape, unless the keyboard opened it. The keys steer either way. Modal, so that the press
// that closes it does nothing else: it neither points nor opens the menu again.
// Its entries are made when it is first opened, so that start-up does not pay for them.
Popup {
    id: stripMenu

    // A column of entries.
    required property Component entries

    readonly property StripButton opener: parent as StripButton
    property bool byKey: false
    property bool everOpened: false

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
    onAboutToShow: {
        byKey = opener.hasKeyboard;
        everOpened = true;
    }
    onOpened: if (byKey) (((contentItem as Loader).item as MenuEntries).children[0] as MenuEntry).takeKeyboard()
    onAboutToHide: mainWindow.takePress()
    onClosed: if (byKey) opener.takeKeyboard()
    background: Rectangle {
        color: Theme.strip
        radius: Theme.panelRadius
        border.width: 1
        border.color: Theme.stripBorder
    }
    contentItem: Loader {
        Keys.forwardTo: [mainWindow.video]
        active: stripMenu.everOpened
        sourceComponent: stripMenu.entries
    }
}
