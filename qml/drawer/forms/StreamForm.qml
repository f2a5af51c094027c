import QtQuick
import QtQuick.Layouts
import "../controls"
import "../../style"

// The address of the pod's video.
Section {
    id: form

    caption: Texts.streamSection

    function apply() {
        const address = urlInput.text.trim();
        if (!/^(rtsp|udp):\/\/./i.test(address)) {
            customDialog.show(Texts.badStream);
            return;
        }
        storedSettings.store(storedSettings.rtsp, "rtspIp", address);
        root.urlChanged(address);
        drawerActions.report("streamUpdated", "green", address);
        drawerActions.giveFocusBack();
    }

    RowLayout {
        Layout.fillWidth: true
        spacing: Theme.drawerSpacing

        DrawerField {
            id: urlInput
            objectName: "urlInput"
            text: mainWindow.rtspUrl
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
