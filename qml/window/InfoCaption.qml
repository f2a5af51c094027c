import QtQuick
import QtQuick.Layouts
import "../style"

Text {
    Layout.preferredWidth: 40
    color: Theme.caption
    font.pixelSize: 13
}
