import QtQuick

// A control's tooltip, declared inside the control and shown by the window's TipLayer. It stands at
// an edge of the control, or of the group that it is to leave uncovered.
Item {
    id: tip

    property string text: ""
    property bool shown: false
    // Qt.LeftEdge, Qt.RightEdge or Qt.BottomEdge.
    property int edge: Qt.LeftEdge
    property Item beside: parent

    readonly property bool wanted: shown && visible && text !== ""

    onWantedChanged: {
        if (wanted)
            mainWindow.tips.show(tip);
        else
            mainWindow.tips.hide(tip);
    }
    Component.onDestruction: mainWindow?.tips?.hide(tip)
}
