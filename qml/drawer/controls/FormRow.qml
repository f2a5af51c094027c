import QtQuick
import QtQuick.Layouts
import "../../style"

// A label on the left, the controls on the right.
RowLayout {
    id: row

    property string label: ""
    property int labelWidth: Theme.drawerLabelWidth
    default property alias controls: controlRow.data

    Layout.fillWidth: true
    spacing: Theme.drawerSpacing

    Text {
        Layout.preferredWidth: row.labelWidth
        Layout.preferredHeight: Theme.drawerRowHeight
        color: Theme.drawerText
        elide: Text.ElideRight
        font.pixelSize: Theme.drawerFontSize
        text: row.label
        verticalAlignment: Text.AlignVCenter
    }
    RowLayout {
        id: controlRow
        Layout.fillWidth: true
        spacing: Theme.drawerSpacing
    }
}
