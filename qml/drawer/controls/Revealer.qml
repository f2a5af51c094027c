import QtQuick
import "../../style"

// Scrolls a view to the control that the keyboard has reached.
Connections {
    required property Flickable view

    target: mainWindow
    function onActiveFocusItemChanged() {
        const item = mainWindow.activeFocusItem;
        let ancestor = item;
        while (ancestor && ancestor !== view.contentItem)
            ancestor = ancestor.parent;
        if (!ancestor)
            return;
        const top = item.mapToItem(view.contentItem, 0, 0).y - Theme.drawerSpacing;
        const bottom = top + item.height + 2 * Theme.drawerSpacing;
        view.contentY = Math.max(0, Math.min(top, Math.max(view.contentY, bottom - view.height)));
    }
}
