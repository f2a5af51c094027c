import QtQuick

// The keys that steer: each holds its motion for as long as it is down.
QtObject {
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
        if (!event.isAutoRepeat)
            motion.press("key." + event.key, command);
    }

    function release(event: var) {
        if (!commands[event.key])
            return;
        event.accepted = true;
        if (!event.isAutoRepeat)
            motion.release("key." + event.key);
    }

    // For when the keyboard is taken away: the key-ups will not arrive.
    function releaseAll() {
        for (const key in commands)
            motion.release("key." + key);
    }
}
