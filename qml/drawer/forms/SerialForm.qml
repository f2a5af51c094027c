import QtQuick
import QtQuick.Layouts
import "../controls"
import "../../style"

LinkForm {
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
        if (drawerActions.hasBackend && !cMain.isSerialPort(portslist.portName)) {
            drawerActions.report("noPort", "red");
            customDialog.show(Texts.noPort);
            return null;
        }
        const baudRate = Validation.integerIn(baudRateInput.text, 1, Validation.largestBaudRate);
        if (isNaN(baudRate)) {
            customDialog.show(Texts.badBaudRate);
            return null;
        }
        storedSettings.store(storedSettings.com, "baudRate", baudRate);
        mainWindow.oldBaudRate = baudRate;
        mainWindow.oldComPort = portslist.portName;
        drawerActions.report("serialConnecting", "orange", portslist.portName + " " + baudRate);
        return {target: portslist.portName, value: baudRate};
    }

    fields: [
        PortChoice {
            id: portslist
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
