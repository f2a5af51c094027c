import QtQuick
import QtQuick.Layouts
import ".."
import "../controls"
import "../../style"

// Four arrows; each click is one trim step of this pad's size.
GridLayout {
    id: pad

    required property DrawerActions actions

    property string caption: ""
    // 1 or 2, the number in the buttons' names.
    required property int set
    required property int trimSize

    Layout.fillWidth: false
    columnSpacing: 4
    columns: 3
    rowSpacing: 4

    component Arrow: DrawerButton {
        required property string direction
        objectName: direction + "button" + pad.set
        implicitWidth: 40
        Accessible.name: pad.caption + ": " + tip
        leftPadding: 0
        rightPadding: 0
    }

    Arrow {
        Layout.column: 1
        Layout.row: 0
        direction: "up"
        text: "▲"
        tip: Texts.tipUp
        onClicked: pad.actions.perform(() => cMain.adjust_up(pad.trimSize))
    }
    Arrow {
        Layout.column: 0
        Layout.row: 1
        direction: "left"
        text: "◀"
        tip: Texts.tipLeft
        onClicked: pad.actions.perform(() => cMain.adjust_left(pad.trimSize))
    }
    Text {
        Layout.column: 1
        Layout.row: 1
        Layout.preferredWidth: 48
        color: Theme.drawerMuted
        font.pixelSize: Theme.drawerFontSize
        horizontalAlignment: Text.AlignHCenter
        text: pad.caption
    }
    Arrow {
        Layout.column: 2
        Layout.row: 1
        direction: "right"
        text: "▶"
        tip: Texts.tipRight
        onClicked: pad.actions.perform(() => cMain.adjust_right(pad.trimSize))
    }
    Arrow {
        Layout.column: 1
        Layout.row: 2
        direction: "down"
        text: "▼"
        tip: Texts.tipDown
        onClicked: pad.actions.perform(() => cMain.adjust_down(pad.trimSize))
    }
}
