import QtQuick
import QtQuick.Layouts
import ".."
import "../controls"
import "../../style"
import "../../window"

// The address of the pod's video.
Section {
    id: form

    required property DrawerActions actions
    required property StoredSettings settings

    signal urlChanged(string newUrl)

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
            form.actions.box.show(Texts.badStream);
            return;
        }
        form.settings.store(form.settings.rtsp, "rtspIp", address);
        form.urlChanged(address);
        urlInput.text = Qt.binding(() => mainWindow.shownUrl(mainWindow.rtspUrl));
        form.actions.report("streamUpdated", "green", mainWindow.shownUrl(address));
        mainWindow.giveFocusBack();
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
