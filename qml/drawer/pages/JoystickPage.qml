import QtQuick
import QtQuick.Layouts
import "../controls"
import "../forms"
import "../../style"

// Page 4: the joystick's axes and buttons, live, and what each of them does.
DrawerPage {
    id: page


    // A JoystickInput, or null in a program without the joystick module.
    required property var device
    readonly property bool supported: device !== null && device.available
    readonly property bool connected: supported && device.connected

    objectName: "joysticksettingPage"

    FormRow {
        label: Texts.joystickDevice

        Text {
            objectName: "joystickState"
            Layout.fillWidth: true
            color: page.connected ? Theme.drawerText : Theme.drawerWarning
            elide: Text.ElideRight
            font.bold: !page.connected
            font.pixelSize: Theme.drawerFontSize
            text: !page.supported ? Texts.joystickMissing
                                  : page.connected ? page.device.deviceName : Texts.joystickNone
        }
    }
    Section {
        caption: Texts.axesSection
        enabled: page.supported

        Repeater {
            model: ["X", "Y", "Z", "R", "U"]

            JoystickAxisRow {
                required property int index
                required property string modelData
                axis: modelData
                deflection: page.connected ? page.device.axes[index] : 0
                axisFunction: page.supported ? page.device.axisFunctions[index] : 0
                inverted: page.supported && page.device.axisInverted[index]
                onFunctionChosen: axisFunction => page.device.setAxisFunction(index, axisFunction)
                onInversionChosen: on => page.device.setAxisInverted(index, on)
            }
        }
    }
    Section {
        caption: Texts.buttonsSection
        enabled: page.supported

        RowLayout {
            Layout.fillWidth: true
            spacing: Theme.drawerSpacing

            Item {
                Layout.preferredWidth: Theme.drawerLabelWidth
            }
            Repeater {
                model: [Texts.shortPress, Texts.longPress]

                Text {
                    required property string modelData
                    Layout.fillWidth: true
                    Layout.preferredWidth: 1
                    color: Theme.drawerMuted
                    font.pixelSize: 12
                    text: modelData
                }
            }
        }
        Repeater {
            model: 10

            JoystickButtonRow {
                required property int index
                number: index + 1
                pressed: page.connected && page.device.buttons[index]
                shortAction: page.supported ? page.device.shortActions[index] : -1
                longAction: page.supported ? page.device.longActions[index] : -1
                onActionChosen: (longPress, action) =>
                    page.device.setButtonAction(index, longPress, action)
            }
        }
    }
}
