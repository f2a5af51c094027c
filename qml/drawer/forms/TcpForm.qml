import QtQuick
import QtQuick.Layouts
import "../controls"
import "../../style"

LinkForm {
    id: form

    type: "TCP"
    caption: Texts.tcpSection
    connectedText: "tcpConnected"
    failedText: "tcpFailed"
    closedText: "tcpClosed"
    closedLog: "已断开 TCP 连接"
    buttonName: "tcpButton"
    buttonTip: Texts.tipTcp

    function prepare(): var {
        const port = Validation.integerIn(portInput.text, 1, Validation.largestPort);
        if (!Validation.isIpAddress(ipInput.text) || isNaN(port)) {
            form.actions.box.show(isNaN(port) ? Texts.badPort : Texts.badAddress);
            return null;
        }
        const address = Validation.addressBytes(ipInput.text).join(".");
        form.settings.store(form.settings.tcp, "deviceIp", address);
        form.settings.store(form.settings.tcp, "devicePort", port);
        mainWindow.oldDeviceIp = address;
        mainWindow.oldDevicePort = port;
        form.actions.report("tcpConnecting", "orange", address + ":" + port);
        return {target: address, value: port};
    }

    fields: [
        DrawerField {
            id: ipInput
            objectName: "ipInput"
            Layout.minimumWidth: 116
            text: mainWindow.oldDeviceIp
            tip: Texts.tipTcpAddress
            onAccepted: form.connectByKey()
        },
        Text {
            color: Theme.drawerText
            font.pixelSize: Theme.drawerFontSize
            text: Texts.port
        },
        DrawerField {
            id: portInput
            objectName: "portInput"
            Layout.fillWidth: false
            Layout.preferredWidth: 60
            inputMethodHints: Qt.ImhDigitsOnly
            text: mainWindow.oldDevicePort
            tip: Texts.tipTcpPort
            onAccepted: form.connectByKey()
        }
    ]
}
