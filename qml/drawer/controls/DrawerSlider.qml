import QtQuick
import QtQuick.Controls
import "../../style"
import "../../window"

// A slider whose value counts when the handle is let go (`released`).
Slider {
    id: slider

    property string tip: ""
    signal released(int value)

    function step(act: var) {
        act();
        released(Math.round(value));
    }

    implicitHeight: Theme.drawerRowHeight
    implicitWidth: 120
    padding: 0
    focusPolicy: Qt.TabFocus
    live: true
    Accessible.name: tip
    Accessible.onIncreaseAction: step(increase)
    Accessible.onDecreaseAction: step(decrease)
    onPressedChanged: {
        if (!pressed)
            released(Math.round(value));
    }

    FocusRing {}
    DrawerTip {
        shown: slider.hovered && !slider.pressed
        text: slider.tip
    }

    background: Rectangle {
        x: slider.handle.width / 2
        y: (slider.height - height) / 2
        width: slider.width - slider.handle.width
        height: 4
        radius: 2
        color: Theme.drawerSwitchOff

        Rectangle {
            width: slider.visualPosition * parent.width
            height: parent.height
            radius: 2
            color: Theme.drawerAccent
        }
    }
    handle: Rectangle {
        x: slider.visualPosition * (slider.width - width)
        y: (slider.height - height) / 2
        width: 16
        height: 16
        radius: 8
        color: slider.pressed ? Theme.drawerAccentDown : Theme.drawerAccent
        border.width: 2
        border.color: "white"
    }
}
