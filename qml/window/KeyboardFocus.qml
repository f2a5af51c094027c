import QtQuick
import QtQuick.Controls
import VideoRenderer
import "../keys"

// Keys steer the pod unless the operator is typing or is asked something: who has the keyboard gives
// it back to the video, and the video fetches it where nobody has it.
Item {
    id: keyboardFocus

    required property VideoRenderer video
    required property SteeringKeys motionKeys
    // A question waits for its answer.
    required property bool asking

    readonly property Item holder: mainWindow.activeFocusItem
    readonly property bool typing: holder instanceof TextInput

    onHolderChanged: {
        // The key-ups will not arrive where the keys went down.
        motionKeys.releaseAll();
        fetcher.start();
    }

    // From a control that was reached by Tab the keys steer, too: it keeps the keyboard for as long as
    // it can be used.
    function giveBack() {
        const inUse = holder !== null && holder !== mainWindow.contentItem
            && holder.visible && holder.enabled
            && !((holder as ComboBox)?.editable ?? false);
        if (!asking && (typing || !inUse))
            video.forceActiveFocus();
    }

    // The control that had the keyboard was hidden, disabled or destroyed.
    function fetch() {
        if (mainWindow.active && (holder === null || holder === mainWindow.contentItem || !holder.visible))
            video.forceActiveFocus();
    }

    // Not in the change itself, which may be on its way to another item.
    Timer {
        id: fetcher
        interval: 0
        onTriggered: keyboardFocus.fetch()
    }
    // Unlike a disabled control a hidden one would keep the keyboard.
    Connections {
        target: keyboardFocus.holder
        function onVisibleChanged() { keyboardFocus.fetch(); }
    }
}
