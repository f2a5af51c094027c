import QtQuick
import QtQuick.Layouts
import "../../style"

// Buttons at the right end of a section.
RowLayout {
    default property alias buttons: row.data

    Layout.fillWidth: true

    Item {
        Layout.fillWidth: true
    }
    RowLayout {
        id: row
        Layout.fillWidth: false
        spacing: Theme.drawerSpacing
    }
}
