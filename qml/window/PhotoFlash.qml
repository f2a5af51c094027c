import QtQuick
import "../style"

// A short flash at the picture's edge: a photo was asked for.
Rectangle {
    id: flash

    function show() {
        fading.restart();
    }

    visible: opacity > 0
    opacity: 0
    color: "transparent"
    border.color: Theme.value
    border.width: 2 * Theme.gap

    NumberAnimation {
        id: fading
        target: flash
        property: "opacity"
        from: 1
        to: 0
        duration: 500
        easing.type: Easing.InQuad
    }
}
