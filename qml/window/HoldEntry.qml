import QtQuick

// An entry of a tool strip menu that moves something for as long as it is pressed.
MenuEntry {
    id: holdEntry

    // The name under which the guard keeps this hold, and the command it sends.
    required property string source
    required property string command

    onPressStarted: motion.press(source, command)
    onPressEnded: motion.release(source)
}
