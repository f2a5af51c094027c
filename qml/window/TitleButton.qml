import QtQuick
import QtQuick.Controls
import "../style"

// One of the title bar's buttons; its icon is its child. A click leaves the keyboard where it is.
Button {
    id: titleButton

    property color hoverColor: Theme.titleHovered
    property alias tip: buttonTip.text
    // The leftmost of the buttons: the tip stands left of them all.
    property alias tipBeside: buttonTip.beside

    width: 25
    height: 25
    anchors.verticalCenter: parent.verticalCenter
    padding: 0
    topPadding: 0
    bottomPadding: 0
    leftPadding: 0
    rightPadding: 0
    topInset: 0
    bottomInset: 0
    spacing: 0
    focusPolicy: Qt.TabFocus
    Keys.onReturnPressed: event => { if (!event.isAutoRepeat) clicked(); }
    Keys.onEnterPressed: event => { if (!event.isAutoRepeat) clicked(); }
    Accessible.name: tip
    Accessible.onPressAction: if (enabled) clicked()
    background: Rectangle {
        radius: 6
        color: titleButton.hovered ? titleButton.hoverColor : "transparent"
        opacity: titleButton.pressed ? 0.7 : 1
    }

    FocusRing {
        anchors.margins: 1
    }
    Tip {
        id: buttonTip
        shown: titleButton.hovered && !titleButton.pressed
    }
}
