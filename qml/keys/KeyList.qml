import QtQuick
import QtQuick.Controls
import QtQuick.Layouts
import "../drawer/controls"
import "../style"

// The keys in two columns: what steers, which is fixed, and the table's rows with a button each.
GridLayout {
    id: list

    required property KeyTable table
    required property string waiting
    signal keyClicked(string name)

    readonly property int keyWidth: 110

    columns: 2
    columnSpacing: 3 * Theme.drawerSpacing
    rowSpacing: 4

    component Action: Text {
        Layout.fillWidth: true
        color: Theme.drawerText
        elide: Text.ElideRight
        font.pixelSize: Theme.drawerFontSize
    }

    Repeater {
        model: list.table.steering

        RowLayout {
            required property int modelData
            Layout.preferredWidth: 1
            Action {
                text: Texts.steeringActions[list.table.motionKeys.commands[parent.modelData]]
            }
            Text {
                Layout.preferredWidth: list.keyWidth
                color: Theme.drawerMuted
                font.pixelSize: Theme.drawerFontSize
                horizontalAlignment: Text.AlignHCenter
                text: String.fromCharCode(parent.modelData)
            }
        }
    }
    Repeater {
        model: list.table.rows

        RowLayout {
            id: row
            required property var modelData
            Layout.preferredWidth: 1
            Action {
                text: Texts.keyActions[row.modelData.name]
            }
            DrawerButton {
                objectName: "key_" + row.modelData.name
                Layout.preferredWidth: list.keyWidth
                implicitHeight: 26
                Accessible.name: Texts.keyActions[row.modelData.name] + ": " + text
                active: list.waiting === row.modelData.name
                text: active ? "…" : [list.table.keys[row.modelData.name], row.modelData.also]
                                     .filter(key => key).join("   ") || "-"
                onClicked: list.keyClicked(row.modelData.name)
            }
        }
    }
}
