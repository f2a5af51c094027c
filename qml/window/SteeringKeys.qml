import QtQuick

// The keys that steer: each holds its motion for as long as it is down.
QtObject {
    readonly property string group: "key."
    readonly property var commands: ({
        [Qt.Key_W]: "up",
        [Qt.Key_S]: "down",
        [Qt.Key_A]: "left",
        [Qt.Key_D]: "right",
        [Qt.Key_Q]: "zoomOut",
        [Qt.Key_E]: "zoomIn"
    })

    function press(event: var) {
        const command = commands[event.key];
        if (!command)
            return;
        event.accepted = true;
        // A window system may leave repeated presses unmarked; a key that is down stays down.
        const source = group + event.key;
        if (!event.isAutoRepeat && !motion.isHeld(source))
            motion.press(source, command);
    }

    function release(event: var) {
        if (!commands[event.key])
            return;
        event.accepted = true;
        if (!event.isAutoRepeat)
            motion.release(group + event.key);
    }

    // For when the keyboard is taken away: the key-ups will not arrive.
    function releaseAll() {
        motion.releaseGroup(group);
    }
}
