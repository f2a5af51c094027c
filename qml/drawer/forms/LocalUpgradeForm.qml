import QtQuick
import QtQuick.Dialogs
import QtQuick.Layouts
import ".."
import "../controls"
import "../../style"

// A firmware file over the serial port. What became of it is the backend's own account.
Section {
    id: form

    required property DrawerActions actions
    required property OnlineUpgradeRun run

    readonly property string defaultBaudRate: "115200"
    readonly property bool running: form.run.localRunning

    // "file:///C:/x" is C:/x, "file:///home/x" is /home/x, "file://server/x" is //server/x.
    function localPath(url: string): string {
        const path = decodeURIComponent(url);
        return path.replace(/^file:\/\/\/(?=[A-Za-z]:)/, "").replace(/^file:\/\/(?=\/)/, "")
                   .replace(/^file:/, "");
    }

    function start() {
        const path = filedirectionInput.text.trim();
        const port = updateportslist.portName;
        const baudRate = Validation.integerIn(updatebaudRateInput.text, 1, Validation.largestBaudRate);
        if (path === "" || port === "" || isNaN(baudRate)) {
            form.actions.box.show(path === "" ? Texts.noFile
                                          : port === "" ? Texts.noPort : Texts.badBaudRate);
            return;
        }
        form.actions.box.ask(Texts.localNotice, () => form.write(port, baudRate, path));
    }

    function write(port: string, baudRate: int, path: string) {
        if (form.run.running || form.run.localRunning)
            return; // begun while the question was open
        form.run.updateType = 1;
        form.run.localPercent = 0;
        form.actions.performClosing(() => cMain.updateFirmwareByCom(port, baudRate, path));
    }

    function reset() {
        filedirectionInput.clear();
        updateportslist.editText = mainWindow.oldComPort;
        updatebaudRateInput.text = defaultBaudRate;
        mainWindow.giveFocusBack();
    }

    objectName: "localUpgradeForm"
    caption: Texts.localSection

    FileDialog {
        id: fileDialog
        objectName: "fileDialog"
        title: Texts.chooseFile
        nameFilters: [Texts.allFiles, "Bin Files (*.Txt)"]
        onAccepted: filedirectionInput.text = form.localPath(String(selectedFile))
        onVisibleChanged: {
            if (!visible)
                mainWindow.giveFocusBack();
        }
    }

    FormRow {
        label: Texts.firmwareFile

        DrawerField {
            id: filedirectionInput
            objectName: "filedirectionInput"
            tip: Texts.tipFile
        }
        DrawerButton {
            objectName: "openFileButton"
            text: Texts.open
            tip: Texts.tipOpen
            onClicked: fileDialog.open()
        }
    }
    FormRow {
        label: Texts.serialPort

        PortChoice {
            id: updateportslist
            actions: form.actions
            objectName: "updateportslist"
            preset: mainWindow.oldComPort
            tip: Texts.tipUpdatePort
        }
    }
    FormRow {
        label: Texts.baudRate

        DrawerField {
            id: updatebaudRateInput
            objectName: "updatebaudRateInput"
            inputMethodHints: Qt.ImhDigitsOnly
            text: form.defaultBaudRate
            tip: Texts.tipBaudRate
        }
    }
    DrawerProgress {
        objectName: "progressBar_fmw_2"
        Layout.fillWidth: true
        percent: form.run.localPercent
    }
    Text {
        objectName: "localUpgradeText"
        Layout.fillWidth: true
        color: Theme.drawerText
        font.pixelSize: Theme.drawerFontSize
        text: form.actions.hasBackend ? (cMain.localUpgradeText ?? "") : ""
        visible: text !== ""
        wrapMode: Text.Wrap
    }
    ButtonRow {
        DrawerButton {
            id: comResetButton
            objectName: "comResetButton"
            enabled: !form.running
            text: Texts.reset
            tip: Texts.tipReset
            onClicked: form.reset()
        }
        DrawerButton {
            id: comupdateButton
            objectName: "comupdateButton"
            enabled: !form.running && !form.run.running
            primary: true
            text: Texts.update
            tip: Texts.tipLocalUpdate
            onClicked: form.start()
        }
    }
}
