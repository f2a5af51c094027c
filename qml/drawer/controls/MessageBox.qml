import QtQuick
import QtQuick.Controls
import QtQuick.Layouts
import "../../style"

// One text and one button. Escape and a press outside close it too. A question has a second button:
// what it asks about is done when the first, or Enter, confirms it, and by nothing else.
Popup {
    id: box

    // What waits for the answer, or null.
    property var action: null

    function show(text: string) {
        action = null;
        put(text);
    }

    function ask(question: string, action: var) {
        box.action = action;
        put(question);
    }

    function put(text: string) {
        dialogText.text = text.split("\n").map(Texts.translated).join("\n");
        open();
    }

    function confirm() {
        const confirmed = action;
        close();
        if (confirmed)
            confirmed();
    }

    objectName: "customDialog"
    x: Math.round((parent.width - width) / 2)
    y: Math.round((parent.height - height) / 2)
    width: 300
    height: 150
    padding: 12
    modal: true
    exit: Transition {} // see StripMenu
    onAboutToHide: mainWindow.takePress()
    focus: true
    closePolicy: Popup.CloseOnEscape | Popup.CloseOnPressOutside
    onClosed: {
        if (!opened)
            action = null;
        mainWindow.giveFocusBack();
    }

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
            Accessible.role: Accessible.AlertMessage
            Accessible.name: text
            Layout.fillWidth: true
            Layout.fillHeight: true
            color: Theme.drawerText
            elide: Text.ElideRight
            font.pixelSize: 14
            horizontalAlignment: Text.AlignHCenter
            verticalAlignment: Text.AlignVCenter
            wrapMode: Text.Wrap
        }
        Row {
            Layout.alignment: Qt.AlignHCenter
            spacing: Theme.drawerSpacing

            DrawerButton {
                objectName: "dialogButton"
                width: 90
                primary: true
                text: Texts.ok
                tip: box.action ? Texts.tipConfirm : Texts.tipClose
                onClicked: box.confirm()
            }
            DrawerButton {
                id: cancelButton
                objectName: "dialogCancelButton"
                width: 90
                text: Texts.cancel
                tip: Texts.tipCancel
                visible: box.action !== null
                onClicked: box.close()
            }
        }
    }

    // Enter is the button's key; the Enter that opened the box, held, is no answer to it.
    Shortcut {
        enabled: box.visible && !cancelButton.activeFocus
        autoRepeat: false
        sequences: ["Return", "Enter"]
        onActivated: box.confirm()
    }
}
