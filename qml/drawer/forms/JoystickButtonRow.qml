import QtQuick
import QtQuick.Layouts
import "../controls"
import "../../style"

// One button: a lamp while it is held, and what a short and a long press do.
RowLayout {
    id: row

    required property int number
    property bool pressed: false
    property int shortAction: -1
    property int longAction: -1
    signal actionChosen(bool longPress, int action)

    Layout.fillWidth: true
    spacing: Theme.drawerSpacing

    RowLayout {
        Layout.fillWidth: false
        Layout.preferredWidth: Theme.drawerLabelWidth
        spacing: 6

        Rectangle {
            objectName: "lamp" + row.number
            implicitWidth: 10
            implicitHeight: 10
            radius: 5
            color: row.pressed ? Theme.progressForeground : Theme.drawerDisabledFill
            border.color: Theme.drawerControlBorder
        }
        Text {
            Layout.fillWidth: true
            color: row.enabled ? Theme.drawerText : Theme.drawerDisabledText
            font.pixelSize: Theme.drawerFontSize
            text: Texts.joystickButton(row.number)
        }
    }
    DrawerChoice {
        objectName: "btn" + row.number + "_1"
        Layout.preferredWidth: 1
        Accessible.name: Texts.joystickButton(row.number) + ": " + tip
        choice: row.shortAction + 1
        model: Texts.buttonActions
        tip: Texts.tipShortPress
        onChosen: index => row.actionChosen(false, index - 1)
    }
    DrawerChoice {
        objectName: "combo" + row.number + "_2"
        Layout.preferredWidth: 1
        Accessible.name: Texts.joystickButton(row.number) + ": " + tip
        choice: row.longAction + 1
        model: Texts.buttonActions
        tip: Texts.tipLongPress
        onChosen: index => row.actionChosen(true, index - 1)
    }
}
