import QtQuick
import QtQuick.Layouts
import "../style"

// One way to the pod: the fields are the user's of this file, checking and opening theirs too; the
// button, the order of events and what is told about them are here.
Section {
    id: form

    // The backend's name of this kind of link.
    required property string type
    // Names in Texts, as report() takes them.
    required property string connectedText
    required property string failedText
    required property string closedText
    required property string closedLog
    required property string buttonName
    property string buttonTip: ""

    // Replaced by the user. Checks and stores what was entered; true when it can be opened.
    function prepare(): bool { return false; }
    // Replaced by the user. Opens the link; true when it is open.
    function openLink(): bool { return false; }

    readonly property bool linked: drawerActions.hasBackend && cMain.isConnected
                                   && cMain.connectionType === type
    property alias fields: fieldColumn.data

    function connectOrDisconnect() {
        if (linked)
            closeNow();
        else if (!openTimer.running && prepare())
            openTimer.start();
    }

    function closeNow() {
        drawerActions.endMotions();
        if (!drawerActions.perform(() => cMain.disconnect()))
            return;
        console.log(closedLog);
        drawerActions.report(closedText, "orange");
    }

    function openNow() {
        let open = false;
        drawerActions.endMotions();
        drawerActions.perform(() => open = openLink(), false);
        if (!drawerActions.hasBackend)
            return;
        if (open) {
            drawerActions.report(connectedText, "green");
            sendversiontimer.restart();
        } else {
            drawerActions.report(failedText, "red");
            customDialog.show(Texts[failedText] + (drawerActions.refusal ? "\n" + drawerActions.refusal : ""));
        }
    }

    // Opening blocks: the line that says so is painted first.
    Timer {
        id: openTimer
        interval: 50
        onTriggered: form.openNow()
    }

    RowLayout {
        Layout.fillWidth: true
        spacing: Theme.drawerSpacing

        RowLayout {
            id: fieldColumn
            Layout.fillWidth: true
            spacing: Theme.drawerSpacing
        }
        DrawerButton {
            objectName: form.buttonName
            active: form.linked
            enabled: !openTimer.running
            primary: true
            text: form.linked ? Texts.disconnectAction : Texts.connectAction
            tip: form.buttonTip
            onClicked: form.connectOrDisconnect()
        }
    }
}
