import QtQuick
import QtQuick.Layouts
import "../../style"

// The page's title and the button that closes the drawer. The right end stays free: the window's
// link panel stands there.
RowLayout {
    id: header

    property alias title: titleText.text
    signal closeClicked()

    readonly property int linkPanelWidth: 129

    height: 42
    spacing: 0

    Text {
        id: titleText
        objectName: "pageTitle"
        Accessible.role: Accessible.StaticText
        Accessible.name: text
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
        Layout.rightMargin: header.linkPanelWidth + Theme.gap
        flat: true
        text: "✕"
        Accessible.name: Texts.tipCloseDrawer
        tip: Texts.tipCloseDrawer
        onClicked: header.closeClicked()
    }
}
