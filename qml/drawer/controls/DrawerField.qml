import QtQuick
import QtQuick.Controls
import QtQuick.Layouts
import "../../style"

// One line of text. Enter commits it (`accepted`) and hands the keyboard back to the video, Escape
// only hands it back.
TextField {
    id: field

    property string tip: ""
    // What an empty field stands for. Not the style's own placeholder, which floats out of a field of
    // this height in newer releases of Qt.
    property string hint: ""

    Layout.fillWidth: true
    implicitHeight: Theme.drawerRowHeight
    implicitWidth: 60
    topPadding: 0
    bottomPadding: 0
    leftPadding: 8
    rightPadding: 8
    color: enabled && !readOnly ? Theme.drawerText : Theme.drawerMuted
    font.pixelSize: Theme.drawerFontSize
    Accessible.name: tip
    selectByMouse: true
    selectedTextColor: "white"
    selectionColor: Theme.drawerAccent
    verticalAlignment: TextInput.AlignVCenter
    onAccepted: mainWindow.giveFocusBack()
    Keys.onEscapePressed: mainWindow.giveFocusBack()

    Text {
        anchors.fill: parent
        leftPadding: field.leftPadding
        rightPadding: field.rightPadding
        color: Theme.drawerMuted
        elide: Text.ElideRight
        font: field.font
        text: field.hint
        verticalAlignment: Text.AlignVCenter
        visible: field.text === "" && field.preeditText === ""
    }
    DrawerTip {
        shown: field.hovered && !field.activeFocus
        text: field.tip
    }

    background: Rectangle {
        radius: 4
        color: field.enabled && !field.readOnly ? Theme.drawerCard : Theme.drawerDisabledFill
        border.width: field.activeFocus ? 2 : 1
        border.color: field.activeFocus ? Theme.drawerAccent : Theme.drawerControlBorder
    }
}
