import QtQuick
import QtQuick.Controls
import "../style"

// Shown while point tracking is on: tells by its icon whether the pod holds a target, and stops
// the tracking.
Item {
    id: closetrackbutton

    signal stopClicked()

    width: 40
    height: 40

    Button {
        id: closeTrackBtn
        objectName: "closeTrackBtn"
        anchors.fill: parent
        padding: 0
        topInset: 0
        bottomInset: 0
        leftInset: 0
        rightInset: 0
        focusPolicy: Qt.TabFocus
        Keys.onReturnPressed: event => { if (!event.isAutoRepeat) clicked(); }
        Keys.onEnterPressed: event => { if (!event.isAutoRepeat) clicked(); }
        Accessible.name: buttonTip.text
        Accessible.onPressAction: if (enabled) clicked()
        background: Rectangle {
            color: closeTrackBtn.pressed ? Theme.titleHovered : Theme.panel
            radius: Theme.radius
            border.width: 1
            border.color: mainWindow.podStateOld ? Theme.stale : closeTrackBtn.hovered ? Theme.value : Theme.outline
        }

        StripIcon {
            id: imageLoader
            objectName: "imageLoader"
            source: cMain.tracking ? "qrc:/src/image/tingzhigenzong.png"
                                   : "qrc:/src/image/kaishigenzong.png"
        }
        onClicked: closetrackbutton.stopClicked()

        FocusRing {}
        Tip {
            id: buttonTip
            edge: Qt.RightEdge
            shown: closeTrackBtn.hovered && !closeTrackBtn.pressed
            text: cMain.tracking ? Texts.stopTracking : Texts.trackingReady
        }
    }
}
