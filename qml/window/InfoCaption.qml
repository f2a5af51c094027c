import QtQuick
import "../style"

Text {
    color: Theme.caption
    font.pixelSize: 14
}
