import QtQuick
import QtQuick.Layouts
import "../../style"

// A card with a caption; its children stand below one another.
Rectangle {
    id: section

    property alias caption: captionText.text
    default property alias rows: column.data

    Layout.fillWidth: true
    implicitHeight: column.implicitHeight + 2 * column.y
    color: Theme.drawerCard
    radius: 6
    border.color: Theme.drawerBorder

    ColumnLayout {
        id: column
        x: 12
        y: 10
        width: section.width - 2 * x
        spacing: Theme.drawerSpacing

        Text {
            id: captionText
            Layout.fillWidth: true
            color: Theme.drawerMuted
            font.bold: true
            font.pixelSize: 12
            visible: text !== ""
        }
    }
}
