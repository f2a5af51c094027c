import QtQuick
import QtQuick.Controls
import QtQuick.Layouts
import Manual
import "../drawer/controls"
import "../style"

// All keys on one page, made from the table. A click on a key of an action waits for another one; the
// page says so, and why it refuses one.
Popup {
    id: page

    required property KeyTable table
    // The action whose new key is waited for.
    property string waiting: ""
    property string refusal: ""

    readonly property var modifierKeys: [Qt.Key_Shift, Qt.Key_Control, Qt.Key_Alt, Qt.Key_Meta,
        Qt.Key_AltGr]
    readonly property url manualPage: manual.page(Texts.languageIndex)

    function wait(name: string) {
        waiting = name;
        refusal = "";
        keyboard.forceActiveFocus();
    }

    function take(event: var) {
        event.accepted = true;
        const key = table.nameOf(event.key, event.modifiers);
        if (event.key === Qt.Key_Escape)
            waiting = "";
        else if (!modifierKeys.includes(event.key) && (refusal = table.assign(waiting, key)) === "")
            waiting = "";
    }

    objectName: "keyPage"
    parent: Overlay.overlay
    anchors.centerIn: parent
    width: Math.min(720, parent.width - 4 * Theme.gap)
    height: Math.min(keyboard.implicitHeight + 2 * padding, parent.height - 4 * Theme.gap)
    padding: Theme.drawerMargin
    modal: true
    focus: true
    exit: Transition {}
    closePolicy: Popup.CloseOnEscape | Popup.CloseOnPressOutside
    onAboutToHide: mainWindow.takePress()
    onClosed: {
        waiting = "";
        refusal = "";
        mainWindow.giveFocusBack();
    }

    background: Rectangle {
        color: Theme.drawer
        radius: 6
        border.color: Theme.drawerBorder
    }
    ColumnLayout {
        id: keyboard
        anchors.fill: parent
        focus: true
        spacing: Theme.drawerSpacing
        Keys.onPressed: event => {
            if (page.waiting !== "") {
                page.take(event);
            } else if (page.table.ownerOf(event.text === "?" ? "?"
                                          : page.table.nameOf(event.key, event.modifiers)) === "help") {
                event.accepted = true;
                page.close();
            }
        }

        Text {
            color: Theme.drawerText
            font.bold: true
            font.pixelSize: 16
            text: Texts.keysTitle
            Accessible.role: Accessible.StaticText
            Accessible.name: text
        }
        Flickable {
            id: scroller
            Layout.fillWidth: true
            Layout.fillHeight: true
            boundsBehavior: Flickable.StopAtBounds
            clip: true
            contentHeight: list.height
            implicitHeight: list.height
            interactive: contentHeight > height

            ScrollBar.vertical: ScrollBar {
                policy: scroller.interactive ? ScrollBar.AlwaysOn : ScrollBar.AlwaysOff
                width: 10
                Accessible.name: Texts.scrollBar
            }
            Revealer {
                view: scroller
            }
            KeyList {
                id: list
                width: scroller.width - (scroller.interactive ? 12 : 0)
                table: page.table
                waiting: page.waiting
                onKeyClicked: name => page.wait(name)
            }
        }
        Text {
            objectName: "keyMessage"
            Accessible.role: Accessible.AlertMessage
            Accessible.name: text
            Layout.fillWidth: true
            color: page.refusal === "" ? Theme.drawerMuted : Theme.drawerWarning
            font.pixelSize: Theme.drawerFontSize
            text: page.refusal !== "" ? page.refusal
                  : page.waiting !== "" ? Texts.keyAwaited(Texts.keyActions[page.waiting])
                  : Texts.keysHint
            wrapMode: Text.Wrap
        }
        ButtonRow {
            DrawerButton {
                objectName: "manualButton"
                text: Texts.openManual
                visible: String(page.manualPage) !== ""
                onClicked: {
                    if (!Qt.openUrlExternally(page.manualPage))
                        page.refusal = Texts.manualUnopened + page.manualPage;
                }
            }
            DrawerButton {
                objectName: "keyDefaultsButton"
                text: Texts.keyDefaults
                onClicked: {
                    page.waiting = "";
                    page.refusal = "";
                    page.table.assignDefaults();
                }
            }
            DrawerButton {
                objectName: "keyCloseButton"
                primary: true
                text: Texts.close
                onClicked: page.close()
            }
        }
    }

    Manual {
        id: manual
    }
}
