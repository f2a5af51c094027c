import QtQuick
import QtQuick.Layouts
import "../controls"
import "../../style"

// Firmware from the upgrade server. The run itself is OnlineUpgradeRun's.
Section {
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
        text: onlineUpgrade.waiting ? Texts.linkClosed + "\n" + Texts.updateStarts
                                    : drawerActions.hasBackend ? cMain.message : ""
        wrapMode: Text.Wrap
    }
    DrawerProgress {
        id: progressBackground
        objectName: "progressBackground"
        Layout.fillWidth: true
        percent: onlineUpgrade.percent
    }
    ButtonRow {
        DrawerButton {
            id: updateButton
            objectName: "updateButton"
            enabled: !onlineUpgrade.waiting && !onlineUpgrade.transferring
                     && !onlineUpgrade.localRunning
            primary: true
            text: Texts.update
            tip: Texts.tipUpdate
            onClicked: customDialog.ask(Texts.onlineNotice, () => onlineUpgrade.start())
        }
        DrawerButton {
            id: completeButton
            objectName: "completeButton"
            text: Texts.complete
            tip: Texts.tipComplete
            onClicked: onlineUpgrade.complete()
        }
    }
}
