import QtQuick
import QtQuick.Layouts
import "../style"

// The page's title and the button that closes the drawer.
RowLayout {
    id: header

    property alias title: titleText.text
    signal closeClicked()

    height: 42
    spacing: 0

    Text {
        id: titleText
        objectName: "pageTitle"
        Layout.fillWidth: true
        Layout.leftMargin: Theme.drawerMargin
        color: Theme.drawerText
        elide: Text.ElideRight
        font.bold: true
        font.pixelSize: 16
    }
    DrawerButton {
        objectName: "drawerCloseButton"
        Layout.preferredWidth: Theme.drawerRowHeight
        Layout.rightMargin: Theme.drawerMargin
        flat: true
        text: "✕"
        tip: Texts.tipCloseDrawer
        onClicked: header.closeClicked()
    }
}
