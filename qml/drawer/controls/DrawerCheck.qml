import QtQuick
import QtQuick.Controls
import "../../style"
import "../../window"

// A check box that shows `on` and nothing else; see DrawerSwitch.
CheckBox {
    id: control

    property bool on: false
    property string tip: ""
    signal flipped(bool on)

    implicitHeight: Theme.drawerRowHeight
    padding: 0
    spacing: 6
    checked: on
    Accessible.onPressAction: if (enabled) flipped(!on)
    Accessible.onToggleAction: if (enabled) flipped(!on)
    focusPolicy: Qt.TabFocus
    Keys.onReturnPressed: flipped(!on)
    Keys.onEnterPressed: flipped(!on)
    font.pixelSize: Theme.drawerFontSize
    onToggled: {
        const wanted = checked;
        checked = Qt.binding(() => control.on);
        flipped(wanted);
    }

    FocusRing {}
    DrawerTip {
        shown: control.hovered
        text: control.tip
    }

    indicator: Rectangle {
        anchors.verticalCenter: parent.verticalCenter
        width: 16
        height: 16
        radius: 3
        color: control.checked && control.enabled ? Theme.drawerAccent : Theme.drawerCard
        border.color: control.checked && control.enabled ? Theme.drawerAccent
                                                         : Theme.drawerControlBorder

        Text {
            anchors.centerIn: parent
            color: control.enabled ? "white" : Theme.drawerDisabledText
            font.bold: true
            font.pixelSize: 12
            text: "✓"
            visible: control.checked
        }
    }
    contentItem: Text {
        leftPadding: control.indicator.width + control.spacing
        color: control.enabled ? Theme.drawerText : Theme.drawerDisabledText
        elide: Text.ElideRight
        font: control.font
        text: control.text
        verticalAlignment: Text.AlignVCenter
    }
}
