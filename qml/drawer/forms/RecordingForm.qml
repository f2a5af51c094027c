import QtQuick
import QtQuick.Layouts
import FlightRecorder
import ".."
import "../controls"
import "../../style"
import "../../window"

// The recording on this computer: on and off, where it goes, and how much of it.
Section {
    id: form

    required property DrawerActions actions
    required property StoredSettings settings
    required property FlightRecorder recorder

    signal recordHereClicked()
    signal snapshotClicked()

    readonly property int secondsMax: 60
    readonly property int quotaMax: 100000
    readonly property list<string> formats: ["png", "jpg"]

    caption: Texts.recorderSection

    function apply() {
        const seconds = Validation.integerIn(secondsInput.text, 0, secondsMax);
        const quota = Validation.integerIn(quotaInput.text, 1, quotaMax);
        if (isNaN(seconds) || isNaN(quota)) {
            form.actions.box.show(isNaN(seconds) ? Texts.badSeconds : Texts.badQuota);
            return;
        }
        const kept = form.settings.recording;
        form.settings.store(kept, "folder", folderInput.text.trim());
        form.settings.store(kept, "secondsBefore", seconds);
        form.settings.store(kept, "quota", quota);
        mainWindow.readRecorderSettings();
        form.actions.report(form.recorder.running ? "recorderSetNext" : "recorderSet", "green");
        mainWindow.giveFocusBack();
    }

    FormRow {
        label: Texts.recorderFolder

        DrawerField {
            id: folderInput
            objectName: "recorderFolder"
            text: form.recorder.folder
            hint: form.recorder.usedFolder()
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
            text: form.recorder.secondsBefore
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
            text: form.recorder.quota
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
    FormRow {
        label: Texts.snapshotFormat

        DrawerChoice {
            objectName: "snapshotFormat"
            model: ["PNG", "JPEG"]
            choice: form.formats.indexOf(form.recorder.snapshotFormat)
            tip: Texts.tipSnapshotFormat
            onChosen: index => {
                form.settings.store(form.settings.recording, "snapshotFormat", form.formats[index]);
                mainWindow.readRecorderSettings();
            }
        }
    }
    RowLayout {
        Layout.fillWidth: true
        spacing: Theme.drawerSpacing

        Text {
            objectName: "recorderFile"
            Layout.fillWidth: true
            color: form.recorder.trouble !== "" ? Theme.drawerWarning : Theme.drawerMuted
            elide: Text.ElideMiddle
            font.pixelSize: Theme.drawerFontSize
            text: form.recorder.trouble !== "" ? Texts.recorderTrouble(form.recorder.trouble,
                                                                       form.recorder.detail)
                                               : form.recorder.file
        }
        DrawerButton {
            objectName: "snapshotButton"
            text: Texts.snapshot
            tip: Texts.tipSnapshot
            onClicked: {
                form.snapshotClicked();
                mainWindow.giveFocusBack();
            }
        }
        DrawerButton {
            objectName: "recorderButton"
            primary: true
            active: form.recorder.running
            text: form.recorder.running ? Texts.stopHere : Texts.startHere
            tip: Texts.tipRecordHere
            onClicked: {
                form.recordHereClicked();
                mainWindow.giveFocusBack();
            }
        }
    }
}
