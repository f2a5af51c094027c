pragma Singleton
import QtQuick

// The one place for colours and sizes.
QtObject {
    readonly property color windowEdge: "#1A1A1A"

    // Over the video
    readonly property color shade: "#80000000"
    readonly property color panel: "#8C000000"
    readonly property color strip: "#2C2C2C"
    readonly property color stripBorder: "#555555"
    readonly property color hovered: "#33FFFFFF"
    readonly property color pressed: "#66FFFFFF"
    readonly property color caption: "#aaaaaa"
    readonly property color value: "white"
    readonly property color outline: "#D0D0D0"
    readonly property color linkState: "green"
    readonly property color stateShade: "#D0000000"
    // What was true once, but has not been heard of for a while.
    readonly property color stale: "orange"

    // The title bar
    readonly property color titleBar: "#000000"
    readonly property color titleBorder: "#FFFFFF"
    readonly property color titleHovered: "#404040"
    readonly property color closeHovered: "#E81123"

    // The status line
    readonly property color statusLine: "#f0f0f0"
    readonly property color statusGood: "green"
    readonly property color statusIdle: "gray"
    readonly property color statusWarning: "orange"
    readonly property color statusError: "red"

    readonly property int gap: 5
    readonly property int iconSize: 24
    readonly property int buttonHeight: 40
    readonly property int entryHeight: 35
    readonly property int radius: 4
    readonly property int panelRadius: 8
    readonly property int tipDelayMs: 500

    // The drawer
    readonly property color drawer: "#F0F0F0"
}
