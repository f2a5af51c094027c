import QtQuick
import QtQuick.Controls
import QtQuick.Layouts
import "../../style"
import "../../window"

// A combo box that shows `choice` and nothing else: the operator's pick arrives as `chosen` and is
// shown only once the owner has taken it over, so a refused one springs back by itself. A new list
// (another language, another model) leaves the choice standing.
ComboBox {
    id: box

    property int choice: -1
    property string tip: ""
    signal chosen(int index)
    signal aboutToOpen()

    // An editable box shows its choice only when that changes: typed text stays.
    function showChoice() {
        currentIndex = choice < count ? choice : -1;
    }

    Layout.fillWidth: true
    implicitHeight: Theme.drawerRowHeight
    implicitWidth: 90
    topInset: 0
    bottomInset: 0
    topPadding: 0
    bottomPadding: 0
    leftPadding: 8
    rightPadding: 26
    displayText: currentIndex < 0 && !editable ? Texts.notChosen : currentText
    focusPolicy: editable ? Qt.StrongFocus : Qt.TabFocus
    // An arrow opens the list: on a closed one it would choose unseen.
    Keys.onPressed: event => {
        if (popup.visible || ![Qt.Key_Up, Qt.Key_Down].includes(event.key)
                && (editable || ![Qt.Key_Return, Qt.Key_Enter].includes(event.key)))
            return;
        event.accepted = true;
        if (!event.isAutoRepeat)
            popup.open();
    }
    font.pixelSize: Theme.drawerFontSize
    Accessible.name: tip
    Accessible.description: displayText
    Accessible.onPressAction: popup.visible ? popup.close() : popup.open()
    onActivated: index => {
        chosen(index);
        showChoice();
    }
    onChoiceChanged: showChoice()
    onModelChanged: showChoice()
    onCountChanged: showChoice()
    Component.onCompleted: showChoice()

    FocusRing {
        visible: box.activeFocus && !box.editable
    }
    DrawerTip {
        shown: box.hovered && !box.popup.visible
        text: box.tip
    }

    background: Rectangle {
        radius: 4
        color: !box.enabled ? Theme.drawerDisabledFill
                            : box.hovered && !box.editable ? Theme.drawerHover : Theme.drawerCard
        border.width: box.editable && box.activeFocus ? 2 : 1
        border.color: box.editable && box.activeFocus ? Theme.drawerAccent
                                                      : Theme.drawerControlBorder
    }
    indicator: Text {
        x: box.width - width - 9
        anchors.verticalCenter: parent.verticalCenter
        color: box.enabled ? Theme.drawerMuted : Theme.drawerDisabledText
        font.pixelSize: 10
        text: "▼"
    }
    contentItem: TextInput {
        clip: true
        color: box.enabled ? Theme.drawerText : Theme.drawerDisabledText
        font: box.font
        readOnly: !box.editable
        enabled: box.editable
        Accessible.ignored: !box.editable
        Accessible.name: box.tip
        inputMethodHints: box.inputMethodHints
        selectByMouse: true
        selectedTextColor: "white"
        selectionColor: Theme.drawerAccent
        text: box.editable ? box.editText : box.displayText
        validator: box.validator
        verticalAlignment: TextInput.AlignVCenter
        Keys.onEscapePressed: mainWindow.giveFocusBack()

        Text {
            anchors.verticalCenter: parent.verticalCenter
            color: Theme.drawerMuted
            font: box.font
            text: Texts.notChosen
            visible: box.editable && box.editText === "" && !box.activeFocus
        }
    }
    delegate: ItemDelegate {
        id: entry
        required property int index
        required property string modelData

        width: ListView.view ? ListView.view.width : 0
        height: Theme.drawerRowHeight
        topPadding: 0
        bottomPadding: 0
        leftPadding: 8
        rightPadding: 8
        highlighted: box.highlightedIndex === index
        text: modelData
        background: Rectangle {
            color: entry.highlighted ? Theme.drawerHover : "transparent"
        }
        contentItem: Text {
            color: Theme.drawerText
            elide: Text.ElideRight
            font.bold: entry.index === box.currentIndex
            font.pixelSize: Theme.drawerFontSize
            text: entry.modelData
            verticalAlignment: Text.AlignVCenter
        }
    }
    popup: Popup {
        y: box.height + 2
        width: box.width
        height: Math.min(contentItem.implicitHeight + 2, 8 * Theme.drawerRowHeight)
        margins: 4
        exit: Transition {} // see StripMenu
        onAboutToHide: mainWindow.takePress()
        modal: true // so is this
        dim: false
        padding: 1
        // The box itself is outside of a modal list; the combo box sets a policy of its own.
        onAboutToShow: {
            closePolicy = Popup.CloseOnEscape | Popup.CloseOnPressOutside;
            box.aboutToOpen();
        }
        onClosed: {
            if (!box.editable)
                mainWindow.giveFocusBack();
        }
        background: Rectangle {
            radius: 4
            color: Theme.drawerCard
            border.color: Theme.drawerControlBorder
        }
        contentItem: ListView {
            clip: true
            implicitHeight: contentHeight
            model: box.popup.visible ? box.delegateModel : null
            currentIndex: box.highlightedIndex
            ScrollBar.vertical: ScrollBar {
                Accessible.name: Texts.scrollBar
            }

            // The keyboard stays with the video while the list is open.
            Shortcut {
                enabled: box.popup.visible
                sequence: "Escape"
                onActivated: box.popup.close()
            }
        }
    }
}
