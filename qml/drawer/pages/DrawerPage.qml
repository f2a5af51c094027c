import QtQuick
import QtQuick.Controls
import QtQuick.Layouts
import "../controls"
import "../../style"

// A column of sections that scrolls when it is higher than the drawer; the bar shows that it does.
Flickable {
    id: page

    default property alias sections: column.data

    boundsBehavior: Flickable.StopAtBounds
    clip: true
    contentHeight: column.implicitHeight + Theme.drawerMargin
    contentWidth: width
    interactive: contentHeight > height

    ScrollBar.vertical: ScrollBar {
        policy: page.interactive ? ScrollBar.AlwaysOn : ScrollBar.AlwaysOff
        width: 10
        Accessible.name: Texts.scrollBar
    }

    Revealer {
        view: page
    }
    ColumnLayout {
        id: column
        x: Theme.drawerMargin
        width: page.width - 2 * Theme.drawerMargin
        spacing: 10
    }
}
