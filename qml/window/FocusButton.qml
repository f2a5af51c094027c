import QtQuick
import QtQuick.Controls
import MotionGuard
import "../style"

// One of the two manual focus buttons: moves the focus while it is pressed.
Button {
    id: focusButton

    required property MotionGuard guard
    required property string command
    property alias tip: buttonTip.text
    readonly property string source: "button." + command

    width: 50
    height: 50
    padding: 0
    topInset: 0
    bottomInset: 0
    leftInset: 0
    rightInset: 0
    focusPolicy: Qt.TabFocus
    Keys.onReturnPressed: event => { if (!event.isAutoRepeat) guard.press(source, command); }
    Keys.onReleased: event => {
        if (event.key === Qt.Key_Return && !event.isAutoRepeat)
            guard.release(source);
    }
    onActiveFocusChanged: if (!activeFocus) guard?.release(source)
    Accessible.name: tip
    display: AbstractButton.IconOnly
    icon.width: 20
    icon.height: 20
    icon.color: "transparent"
    background: Rectangle {
        radius: 10
        color: focusButton.pressed ? Theme.pressed
                                   : focusButton.hovered ? Theme.hovered : "transparent"
    }

    onPressed: guard.press(source, command)
    // Released, cancelled, slid off, or hidden under the pointer.
    onDownChanged: if (!down) guard?.release(source)
    onVisibleChanged: if (!visible) guard?.release(source)

    FocusRing {}
    Tip {
        id: buttonTip
        edge: Qt.RightEdge
        shown: focusButton.hovered && !focusButton.pressed
    }
}
