import QtQuick
import QtQuick.Controls
import "../../style"
import "../../window"

// Photo and record for as long as the drawer covers the tool strip.
Column {
    id: buttons

    signal photoClicked()
    signal recordClicked()

    spacing: 8

    component CameraButton: ToolButton {
        id: button
        property string tip
        property string picture

        width: 32
        height: 32
        padding: 0
        topInset: 0
        bottomInset: 0
        focusPolicy: Qt.TabFocus
        Accessible.name: tip
        Accessible.onPressAction: if (enabled) clicked()
        Keys.onReturnPressed: event => { if (!event.isAutoRepeat) clicked(); }
        Keys.onEnterPressed: event => { if (!event.isAutoRepeat) clicked(); }

        DrawerTip {
            shown: button.hovered
            text: button.tip
        }
        FocusRing {}
        background: Rectangle {
            radius: 4
            color: button.down ? Theme.titleHovered : Theme.strip
        }
        contentItem: Item {
            StripIcon {
                source: button.picture
            }
        }
    }

    CameraButton {
        objectName: "drawerPhotoButton"
        picture: "qrc:/src/image/photo.png"
        tip: Texts.photo
        onClicked: buttons.photoClicked()
    }
    CameraButton {
        objectName: "drawerRecordButton"
        picture: mainWindow.showB7NRecordStatus ? "qrc:/src/image/pause-solid.svg"
                                                : "qrc:/src/image/record.png"
        tip: mainWindow.showB7NRecordStatus ? Texts.stopRecord : Texts.startRecord
        onClicked: buttons.recordClicked()
    }
}
