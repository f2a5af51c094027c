import QtQuick
import QtQuick.Controls
import "../../style"
import "../../window"

// The drawer's seven page buttons, in page order, and below them what the drawer covers.
Rectangle {
    id: bar

    property int currentPage: 0
    signal pageChosen(int page)
    signal photoClicked()
    signal recordClicked()

    readonly property var icons: ["device_info", "gimbal_settings", "camera-settings", "SbusSetting",
        "JoystickSetting", "Positioning", "FirmwareUpdate"]

    objectName: "toolBar"
    width: 50
    color: Theme.drawerBar
    radius: 4

    Column {
        anchors {
            horizontalCenter: parent.horizontalCenter
            top: parent.top
            topMargin: 9
        }
        spacing: 12

        Repeater {
            model: bar.icons

            ToolButton {
                id: button
                required property int index
                required property string modelData
                readonly property bool current: index === bar.currentPage

                objectName: "pageButton" + index
                width: 32
                height: 32
                padding: 0
                topInset: 0
                bottomInset: 0
                focusPolicy: Qt.TabFocus
                Keys.onReturnPressed: event => { if (!event.isAutoRepeat) clicked(); }
                Keys.onEnterPressed: event => { if (!event.isAutoRepeat) clicked(); }
                Accessible.name: Texts.pageTitles[index]
                Accessible.onPressAction: if (enabled) clicked()
                onClicked: bar.pageChosen(index)

                FocusRing {}
                DrawerTip {
                    shown: button.hovered
                    text: Texts.pageTitles[button.index]
                }

                background: Rectangle {
                    radius: 4
                    color: button.current ? Theme.drawerChosen
                                          : button.hovered ? Theme.drawerHover : "transparent"
                    border.width: button.current ? 1 : 0
                    border.color: Theme.drawerAccent
                }
                contentItem: Item {
                    Image {
                        anchors.centerIn: parent
                        width: 30
                        height: 30
                        mipmap: true
                        source: "qrc:/src/image/" + button.modelData + ".png"
                    }
                }
            }
        }
    }
    CameraButtons {
        anchors {
            horizontalCenter: parent.horizontalCenter
            bottom: parent.bottom
            bottomMargin: 9
        }
        onPhotoClicked: bar.photoClicked()
        onRecordClicked: bar.recordClicked()
    }
}
