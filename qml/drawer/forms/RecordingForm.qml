import QtQuick
import QtQuick.Layouts
import "../controls"
import "../../style"

// The recording on this computer: on and off, where it goes, and how much of it.
Section {
    id: form

    readonly property int secondsMax: 60
    readonly property int quotaMax: 100000

    caption: Texts.recorderSection

    function apply() {
        const seconds = Validation.integerIn(secondsInput.text, 0, secondsMax);
        const quota = Validation.integerIn(quotaInput.text, 1, quotaMax);
        if (isNaN(seconds) || isNaN(quota)) {
            customDialog.show(isNaN(seconds) ? Texts.badSeconds : Texts.badQuota);
            return;
        }
        const kept = storedSettings.recording;
        storedSettings.store(kept, "folder", folderInput.text.trim());
        storedSettings.store(kept, "secondsBefore", seconds);
        storedSettings.store(kept, "quota", quota);
        mainWindow.readRecorderSettings();
        drawerActions.report(root.recorder.running ? "recorderSetNext" : "recorderSet", "green");
        drawerActions.giveFocusBack();
    }

    FormRow {
        label: Texts.recorderFolder

        DrawerField {
            id: folderInput
            objectName: "recorderFolder"
            text: root.recorder.folder
            placeholderText: root.recorder.usedFolder()
            tip: Texts.tipRecorderFolder
            onAccepted: form.apply()
        }
    }
    FormRow {
        label: Texts.recorderBefore

        DrawerField {
            id: secondsInput
            objectName: "recorderSeconds"
            inputMethodHints: Qt.ImhDigitsOnly
            text: root.recorder.secondsBefore
            tip: Texts.tipRecorderBefore
            onAccepted: form.apply()
        }
        Text {
            color: Theme.drawerText
            font.pixelSize: Theme.drawerFontSize
            text: Texts.recorderQuota
        }
        DrawerField {
            id: quotaInput
            objectName: "recorderQuota"
            inputMethodHints: Qt.ImhDigitsOnly
            text: root.recorder.quota
            tip: Texts.tipRecorderQuota
            onAccepted: form.apply()
        }
        DrawerButton {
            objectName: "recorderSetButton"
            text: Texts.set
            tip: Texts.tipRecorderSet
            onClicked: form.apply()
        }
    }
    RowLayout {
        Layout.fillWidth: true
        spacing: Theme.drawerSpacing

        Text {
            objectName: "recorderFile"
            Layout.fillWidth: true
            color: root.recorder.trouble !== "" ? Theme.drawerWarning : Theme.drawerMuted
            elide: Text.ElideMiddle
            font.pixelSize: Theme.drawerFontSize
            text: root.recorder.trouble !== "" ? Texts.recorderTrouble(root.recorder.trouble,
                                                                       root.recorder.detail)
                                               : root.recorder.file
        }
        DrawerButton {
            objectName: "snapshotButton"
            text: Texts.snapshot
            tip: Texts.tipSnapshot
            onClicked: {
                root.snapshotClicked();
                drawerActions.giveFocusBack();
            }
        }
        DrawerButton {
            objectName: "recorderButton"
            primary: true
            active: root.recorder.running
            text: root.recorder.running ? Texts.stopHere : Texts.startHere
            tip: Texts.tipRecordHere
            onClicked: {
                root.recordHereClicked();
                drawerActions.giveFocusBack();
            }
        }
    }
}
