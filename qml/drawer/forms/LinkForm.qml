import QtQuick
import QtQuick.Layouts
import ".."
import "../controls"
import "../../style"
import "../../window"

// One way to the pod: the fields are the user's of this file, checking them too; the button and what
// is told about closing are here, the opening is LinkOpener's.
Section {
    id: form

    required property DrawerActions actions
    required property StoredSettings settings
    required property LinkOpener opener

    // The backend's name of this kind of link.
    required property string type
    // Names in Texts, as report() takes them.
    required property string connectedText
    required property string failedText
    required property string closedText
    required property string closedLog
    required property string buttonName
    property string buttonTip: ""

    // Replaced by the user. Checks and stores what was entered; the target and its number (port or
    // baud rate), or null when it cannot be opened.
    function prepare(): var { return null; }

    readonly property bool linked: form.actions.hasBackend && cMain.isConnected
                                   && cMain.connectionType === type
    property alias fields: fieldColumn.data

    function connectOrDisconnect() {
        if (linked)
            closeNow();
        else
            connectNow();
    }

    // Enter in a field: it must not drop a link that works, neither this one nor the other.
    function connectByKey() {
        if (form.actions.hasBackend && !cMain.isConnected)
            connectNow();
        else
            mainWindow.giveFocusBack();
    }

    function connectNow() {
        const link = form.opener.running ? null : prepare();
        if (link)
            form.opener.open(type, link.target, link.value, connectedText, failedText);
    }

    function closeNow() {
        // The backend refuses a second disconnection soon after the first.
        if (!form.actions.performClosing(() => cMain.disconnect()) || linked)
            return;
        console.log(closedLog);
        form.actions.report(closedText, "orange");
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
            Accessible.name: text + " " + form.caption
            active: form.linked
            enabled: !form.opener.running
            primary: true
            text: form.linked ? Texts.disconnectAction : Texts.connectAction
            tip: form.buttonTip
            onClicked: form.connectOrDisconnect()
        }
    }
}
