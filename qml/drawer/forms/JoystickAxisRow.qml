import QtQuick
import QtQuick.Layouts
import "../controls"
import "../../style"

// One axis: its deflection to either side, its function and its direction.
RowLayout {
    id: row

    required property string axis
    property real deflection: 0 // -1..1
    property int axisFunction: 0
    property bool inverted: false
    signal functionChosen(int axisFunction)
    signal inversionChosen(bool on)

    Layout.fillWidth: true
    spacing: Theme.drawerSpacing

    Text {
        Layout.preferredWidth: 14
        color: row.enabled ? Theme.drawerText : Theme.drawerDisabledText
        font.bold: true
        font.pixelSize: Theme.drawerFontSize
        text: row.axis
    }
    Row {
        Layout.preferredWidth: 122
        spacing: 2

        DeflectionBar {
            axis: row.axis
            objectName: "progressBar_" + row.axis.toLowerCase() + "_left"
            leftward: true
            value: Math.max(0, -row.deflection)
        }
        DeflectionBar {
            axis: row.axis
            objectName: "progressBar_" + row.axis.toLowerCase() + "_right"
            value: Math.max(0, row.deflection)
        }
    }
    DrawerChoice {
        objectName: "axisFunction_" + row.axis.toLowerCase()
        Accessible.name: row.axis + ": " + tip
        choice: row.axisFunction
        model: Texts.axisFunctions
        tip: Texts.tipAxisFunction
        onChosen: index => row.functionChosen(index)
    }
    DrawerCheck {
        objectName: "axisInverted_" + row.axis.toLowerCase()
        Layout.preferredWidth: 72
        on: row.inverted
        text: Texts.axisInverted(row.axis)
        tip: Texts.tipAxisInverted
        onFlipped: on => {
            row.inversionChosen(on);
            mainWindow.giveFocusBack();
        }
    }
}
