pragma Singleton
import QtQuick

// The one place for colours and sizes.
QtObject {
    // Over the video
    readonly property color shade: "#80000000"
    readonly property color panel: "#8C000000"
    readonly property color strip: "#2C2C2C"
    readonly property color stripBorder: "#555555"
    readonly property color caption: "#aaaaaa"
    readonly property color value: "white"

    // The drawer and the status line
    readonly property color drawer: "#F0F0F0"
    readonly property color statusLine: "#f0f0f0"
}
