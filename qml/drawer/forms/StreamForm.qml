import QtQuick
import QtQuick.Layouts
import "../controls"
import "../../style"

// The address of the pod's video.
Section {
    id: form

    caption: Texts.streamSection

    // What is shown of the address in use hides its password; where that still stands, it is meant.
    function withPassword(typed: string): string {
        const current = mainWindow.rtspUrl;
        const shown = mainWindow.shownUrl(current);
        const at = shown.indexOf("***");
        const end = current.length - (shown.length - at - 3);
        // By a function: as a text, "$&" and its like in the password would be filled in.
        return at < 0 || shown === current
            ? typed : typed.replace("***", () => current.slice(at, end));
    }

    function apply() {
        const address = withPassword(urlInput.text.trim());
        if (!/^(rtsp|udp):\/\/./i.test(address)) {
            customDialog.show(Texts.badStream);
            return;
        }
        storedSettings.store(storedSettings.rtsp, "rtspIp", address);
        root.urlChanged(address);
        urlInput.text = Qt.binding(() => mainWindow.shownUrl(mainWindow.rtspUrl));
        drawerActions.report("streamUpdated", "green", mainWindow.shownUrl(address));
        drawerActions.giveFocusBack();
    }

    RowLayout {
        Layout.fillWidth: true
        spacing: Theme.drawerSpacing

        DrawerField {
            id: urlInput
            objectName: "urlInput"
            text: mainWindow.shownUrl(mainWindow.rtspUrl)
            tip: Texts.tipStream
            onAccepted: form.apply()
        }
        DrawerButton {
            objectName: "urlButton"
            primary: true
            text: Texts.apply
            tip: Texts.tipApplyStream
            onClicked: form.apply()
        }
    }
}
