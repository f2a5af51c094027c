import QtQuick
import QtQuick.Controls
import "style"

ApplicationWindow {
    id: mainWindow
    width: 1080
    height: 720
    visible: true
    title: qsTr("KAVROControl")
    flags: Qt.FramelessWindowHint | Qt.Window
    color: Theme.strip
    Text { text: Texts.connected }
}
