import QtQuick
import QtQuick.Controls
import QtQuick.Layouts
import "../../style"

// One text and one button. Escape and a press outside close it too.
Popup {
    id: box

    function show(text: string) {
        dialogText.text = text.split("\n").map(Texts.translated).join("\n");
        open();
    }

    objectName: "customDialog"
    x: Math.round((parent.width - width) / 2)
    y: Math.round((parent.height - height) / 2)
    width: 300
    height: 150
    padding: 12
    modal: true
    exit: Transition {} // see StripMenu
    focus: true
    closePolicy: Popup.CloseOnEscape | Popup.CloseOnPressOutside
    onClosed: drawerActions.giveFocusBack()

    background: Rectangle {
        color: Theme.drawerCard
        radius: 6
        border.color: Theme.drawerBorder
    }

    ColumnLayout {
        anchors.fill: parent
        spacing: 8

        Text {
            id: dialogText
            objectName: "dialogText"
            Layout.fillWidth: true
            Layout.fillHeight: true
            color: Theme.drawerText
            elide: Text.ElideRight
            font.pixelSize: 14
            horizontalAlignment: Text.AlignHCenter
            verticalAlignment: Text.AlignVCenter
            wrapMode: Text.Wrap
        }
        DrawerButton {
            objectName: "dialogButton"
            Layout.alignment: Qt.AlignHCenter
            Layout.preferredWidth: 90
            primary: true
            text: Texts.ok
            tip: Texts.tipClose
            onClicked: box.close()
        }
    }

    // Enter is the button's key.
    Shortcut {
        enabled: box.opened
        sequences: ["Return", "Enter"]
        onActivated: box.close()
    }
}
