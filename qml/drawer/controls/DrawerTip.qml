import QtQuick
import "../../window"

// The tip of one of the drawer's controls: left of the drawer, at the control's height, so that it
// covers none of the neighbours. A control elsewhere has it at its own side.
Tip {
    function surroundings(control: Item): Item {
        for (let item = control.parent; item; item = item.parent) {
            if (item.keepsTipsOutside ?? false)
                return item;
        }
        return control;
    }

    beside: surroundings(parent)
}
