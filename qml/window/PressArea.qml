import QtQuick
import "../style"

// Mouse and keys of a flat button over the video: hover and press colours for its parent, a tooltip and
// a focus ring. A held press, of the pointer or of Space or Enter, begins and ends; one that is not taken
// back clicks.
MouseArea {
    id: pressArea

    property alias tip: pressTip.text
    property alias tipEdge: pressTip.edge
    property alias tipBeside: pressTip.beside
    // What assistive programs call it.
    property string name: tip
    readonly property color shade: pressed ? Theme.pressed
                                           : containsMouse ? Theme.hovered : "transparent"
    readonly property var keys: [Qt.Key_Space, Qt.Key_Return, Qt.Key_Enter]
    property bool keyHeld: false

    signal holdStarted()
    // Whatever ended it: released, cancelled, slid off, hidden, the keyboard gone elsewhere.
    signal holdEnded()

    function takeKeyboard() {
        forceActiveFocus(Qt.TabFocusReason);
    }

    anchors.fill: parent
    hoverEnabled: true
    activeFocusOnTab: true
    Accessible.role: Accessible.Button
    Accessible.name: name
    Accessible.onPressAction: clicked(null)
    onPressed: holdStarted()
    onReleased: holdEnded()
    onCanceled: holdEnded()
    onContainsMouseChanged: if (!containsMouse) holdEnded()
    onVisibleChanged: if (!visible) holdEnded()
    onActiveFocusChanged: {
        if (activeFocus || !keyHeld)
            return;
        keyHeld = false;
        holdEnded();
    }
    Keys.onPressed: event => {
        if (!keys.includes(event.key))
            return;
        event.accepted = true;
        if (event.isAutoRepeat || keyHeld)
            return;
        keyHeld = true;
        holdStarted();
    }
    Keys.onReleased: event => {
        if (!keys.includes(event.key))
            return;
        event.accepted = true;
        if (event.isAutoRepeat || !keyHeld)
            return;
        keyHeld = false;
        holdEnded();
        clicked(null);
    }

    FocusRing {}
    Tip {
        id: pressTip
        shown: pressArea.containsMouse && !pressArea.pressed
    }
}
