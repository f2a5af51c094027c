pragma Singleton
import QtQuick

// The one place for colours and sizes.
QtObject {
    readonly property color windowEdge: "#1A1A1A"

    // Over the video
    readonly property color noPicture: "black"
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
    readonly property color linkChip: "#FFFFFF"
    readonly property color linkGround: "#E6000000"
    readonly property color alarm: "#E6B00020"
    readonly property color focusRing: "#00A3FF"
    readonly property color recording: "#FF6B6B"
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
    readonly property int headUpFontSize: 12
    readonly property int tipDelayMs: 500

    // The drawer
    readonly property color drawer: "#F0F0F0"
    readonly property color drawerBar: "#E1E5EA"
    readonly property color drawerCard: "#FFFFFF"
    readonly property color drawerBorder: "#D3D9DF"
    readonly property color drawerControlBorder: "#A9B3BD"
    readonly property color drawerText: "#1F2933"
    readonly property color drawerMuted: "#55606B"
    readonly property color drawerDisabledText: "#68727C"
    readonly property color drawerDisabledFill: "#E8EBEE"
    readonly property color drawerHover: "#E6F0FA"
    readonly property color drawerChosen: "#CFE2F5"
    readonly property color drawerAccent: "#1565C0"
    readonly property color drawerAccentHover: "#1976D2"
    readonly property color drawerAccentDown: "#0D47A1"
    readonly property color drawerSwitchOff: "#9AA5B1"
    readonly property color drawerWarning: "#9A5B00"
    readonly property color progressBackground: "#1E1E1E"
    readonly property color progressBorder: "#3A3A3A"
    readonly property color progressForeground: "#00AA55"
    readonly property color mapGround: "#EAF1E6"
    readonly property color mapGrid: "#CBD8C6"
    readonly property color mapPlane: "#1565C0"
    readonly property color mapSector: "#401565C0"
    readonly property color mapTarget: "#C62828"
    readonly property int drawerRowHeight: 30
    readonly property int drawerSpacing: 8
    readonly property int drawerMargin: 12
    readonly property int drawerFontSize: 13
    readonly property int drawerLabelWidth: 96
    readonly property int drawerWideLabelWidth: 140
}
