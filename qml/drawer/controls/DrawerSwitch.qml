import QtQuick
import QtQuick.Controls
import "../../style"
import "../../window"

// A switch that shows `on` and nothing else: a flip arrives as `flipped` and stays only if the
// owner changes `on`.
Switch {
    id: control

    property bool on: false
    property string tip: ""
    signal flipped(bool on)

    implicitHeight: Theme.drawerRowHeight
    implicitWidth: 44
    padding: 0
    spacing: 0
    checked: on
    Accessible.onPressAction: if (enabled) flipped(!on)
    Accessible.onToggleAction: if (enabled) flipped(!on)
    focusPolicy: Qt.TabFocus
    Keys.onReturnPressed: flipped(!on)
    Keys.onEnterPressed: flipped(!on)
    onToggled: {
        const wanted = checked;
        checked = Qt.binding(() => control.on);
        flipped(wanted);
    }

    FocusRing {}
    DrawerTip {
        shown: control.hovered
        text: control.tip
    }

    indicator: Rectangle {
        anchors.verticalCenter: parent.verticalCenter
        x: control.width - width
        width: 40
        height: 20
        radius: 10
        color: !control.enabled ? Theme.drawerDisabledFill
                                : control.checked ? Theme.drawerAccent : Theme.drawerSwitchOff

        Rectangle {
            anchors.verticalCenter: parent.verticalCenter
            x: control.checked ? parent.width - width - 2 : 2
            width: 16
            height: 16
            radius: 8
            color: "white"
            Behavior on x {
                NumberAnimation {
                    duration: 80
                }
            }
        }
    }
    contentItem: null
}
