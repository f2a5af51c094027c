import QtQuick
import QtQuick.Layouts
import ".."
import "../controls"
import "../../style"

// Firmware from the upgrade server. The run itself is OnlineUpgradeRun's.
Section {
    id: form

    required property DrawerActions actions
    required property OnlineUpgradeRun run

    caption: Texts.onlineSection

    Text {
        id: messageLabel
        objectName: "messageLabel"
        Layout.fillWidth: true
        Layout.minimumHeight: 34
        color: Theme.drawerText
        elide: Text.ElideRight
        font.pixelSize: Theme.drawerFontSize
        maximumLineCount: 4
        text: form.run.waiting ? Texts.linkClosed + "\n" + Texts.updateStarts
                                    : form.actions.hasBackend ? Texts.translated(cMain.message) : ""
        wrapMode: Text.Wrap
    }
    DrawerProgress {
        id: progressBackground
        objectName: "progressBackground"
        Layout.fillWidth: true
        percent: form.run.percent
    }
    ButtonRow {
        DrawerButton {
            id: updateButton
            objectName: "updateButton"
            enabled: !form.run.waiting && !form.run.transferring
                     && !form.run.localRunning
            primary: true
            text: Texts.update
            tip: Texts.tipUpdate
            onClicked: form.actions.box.ask(Texts.onlineNotice, () => form.run.start())
        }
        DrawerButton {
            id: completeButton
            objectName: "completeButton"
            text: Texts.complete
            tip: Texts.tipComplete
            onClicked: form.run.complete()
        }
    }
}
