import QtQuick
import QtQuick.Layouts
import "../controls"
import "../../style"

LinkForm {
    id: form

    type: "Serial"
    caption: Texts.serialSection
    connectedText: "serialConnected"
    failedText: "serialFailed"
    closedText: "serialClosed"
    closedLog: "已断开串口连接"
    buttonName: "comButton"
    buttonTip: Texts.tipSerial

    function prepare(): var {
        // Before the link that is open, if any, gives way to it.
        if (form.actions.hasBackend && !cMain.isSerialPort(portslist.portName)) {
            form.actions.report("noPort", "red");
            form.actions.box.show(Texts.noPort);
            return null;
        }
        const baudRate = Validation.integerIn(baudRateInput.text, 1, Validation.largestBaudRate);
        if (isNaN(baudRate)) {
            form.actions.box.show(Texts.badBaudRate);
            return null;
        }
        form.settings.store(form.settings.com, "baudRate", baudRate);
        mainWindow.oldBaudRate = baudRate;
        mainWindow.oldComPort = portslist.portName;
        form.actions.report("serialConnecting", "orange", portslist.portName + " " + baudRate);
        return {target: portslist.portName, value: baudRate};
    }

    fields: [
        PortChoice {
            id: portslist
            actions: form.actions
            objectName: "portslist"
            Layout.minimumWidth: 110
            preset: mainWindow.oldComPort
        },
        Text {
            color: Theme.drawerText
            font.pixelSize: Theme.drawerFontSize
            text: Texts.baudRate
        },
        DrawerField {
            id: baudRateInput
            objectName: "baudRateInput"
            Layout.fillWidth: false
            Layout.preferredWidth: 66
            inputMethodHints: Qt.ImhDigitsOnly
            text: mainWindow.oldBaudRate
            tip: Texts.tipBaudRate
        }
    ]
}
