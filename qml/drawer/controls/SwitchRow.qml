import QtQuick
import QtQuick.Layouts
import ".."
import "../../style"

// One function of the camera that is on or off. `open` and `close` are the backend calls.
FormRow {
    id: row

    required property DrawerActions actions
    property alias on: control.on
    property alias tip: control.tip
    required property var open
    required property var close
    // Told after the call went out.
    signal switched(bool on)

    labelWidth: Theme.drawerWideLabelWidth

    Item {
        Layout.fillWidth: true
    }
    DrawerSwitch {
        id: control
        objectName: row.objectName + "Switch"
        Accessible.name: row.label
        Accessible.description: row.tip
        onFlipped: on => {
            if (row.actions.perform(on ? row.open : row.close))
                row.switched(on);
        }
    }
}
