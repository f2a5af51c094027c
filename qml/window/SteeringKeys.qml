import QtQuick
import MotionGuard

// The keys that steer: each holds its motion for as long as it is down.
QtObject {
    required property MotionGuard guard

    readonly property string group: "key."
    readonly property var commands: ({
        [Qt.Key_W]: "up",
        [Qt.Key_S]: "down",
        [Qt.Key_A]: "left",
        [Qt.Key_D]: "right",
        [Qt.Key_Q]: "zoomOut",
        [Qt.Key_E]: "zoomIn"
    })

    // Also those whose motion was ended from outside: only a fresh press begins one.
    property var keysDown: new Set()

    function press(event: var) {
        const command = commands[event.key];
        if (!command)
            return;
        event.accepted = true;
        // A window system may leave repeated presses unmarked; a key that is down stays down.
        if (event.isAutoRepeat || keysDown.has(event.key))
            return;
        keysDown.add(event.key);
        guard.press(group + event.key, command);
    }

    function release(event: var) {
        if (!commands[event.key])
            return;
        event.accepted = true;
        if (event.isAutoRepeat)
            return;
        keysDown.delete(event.key);
        guard.release(group + event.key);
    }

    // For when the keyboard is taken away: the key-ups will not arrive.
    function releaseAll() {
        keysDown.clear();
        guard.releaseGroup(group);
    }
}
