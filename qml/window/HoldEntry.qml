import QtQuick
import MotionGuard

// An entry of a tool strip menu that moves something for as long as it is pressed.
MenuEntry {
    id: holdEntry

    required property MotionGuard guard
    // The name under which the guard keeps this hold, and the command it sends.
    required property string source
    required property string command

    onPressStarted: guard.press(source, command)
    onPressEnded: guard?.release(source)
}
