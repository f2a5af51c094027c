import QtQuick
import MotionGuard
import "../style"

// Focus nearer and farther, for as long as a button is pressed.
Rectangle {
    id: manualfocusbuttons

    required property MotionGuard guard

    width: 50
    height: 100
    color: Theme.panel
    radius: 10

    PointerStop {}

    Column {
        id: buttonColumn
        spacing: 2

        FocusButton {
            id: plusButton
            objectName: "plusButton"
            icon.source: "qrc:/src/image/plus.png"
            tip: Texts.focusNear
            guard: manualfocusbuttons.guard
            command: "manualFocusNear"
        }
        FocusButton {
            id: minusButton
            objectName: "minusButton"
            icon.source: "qrc:/src/image/minus.png"
            tip: Texts.focusFar
            guard: manualfocusbuttons.guard
            command: "manualFocusFar"
        }
    }
}
