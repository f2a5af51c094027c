import QtQuick
import QtQuick.Controls
import "../../style"
import "../../window"

// `primary` marks a form's main action, `active` a state that the button has switched on.
Button {
    id: button

    property string tip: ""
    property bool primary: false
    property bool active: false
    readonly property bool filled: primary || active

    implicitHeight: Theme.drawerRowHeight
    implicitWidth: Math.max(72, implicitContentWidth + leftPadding + rightPadding)
    topInset: 0
    bottomInset: 0
    topPadding: 0
    bottomPadding: 0
    leftPadding: 10
    rightPadding: 10
    focusPolicy: Qt.TabFocus
    Keys.onReturnPressed: event => { if (!event.isAutoRepeat) clicked(); }
    Keys.onEnterPressed: event => { if (!event.isAutoRepeat) clicked(); }
    Accessible.description: tip
    // Older Qt leaves the action of an assistive program to the button.
    Accessible.onPressAction: if (enabled) clicked()
    font.capitalization: Font.MixedCase
    font.pixelSize: Theme.drawerFontSize

    FocusRing {}
    DrawerTip {
        shown: button.hovered
        text: button.tip
    }

    background: Rectangle {
        radius: 4
        border.width: button.filled || button.flat ? 0 : 1
        border.color: Theme.drawerControlBorder
        color: {
            if (!button.enabled)
                return Theme.drawerDisabledFill;
            if (button.filled)
                return button.down ? Theme.drawerAccentDown
                                   : button.hovered ? Theme.drawerAccentHover : Theme.drawerAccent;
            if (button.down)
                return Theme.drawerChosen;
            return button.hovered ? Theme.drawerHover : button.flat ? "transparent" : Theme.drawerCard;
        }
    }
    contentItem: Text {
        color: !button.enabled ? Theme.drawerDisabledText : button.filled ? "white" : Theme.drawerText
        elide: Text.ElideRight
        font: button.font
        horizontalAlignment: Text.AlignHCenter
        text: button.text
        verticalAlignment: Text.AlignVCenter
    }
}
