import QtQuick
import MotionGuard
import VideoRenderer
import "../style"

// The pod's picture with what belongs to it: gestures and keys that steer, the marks of an old or a
// missing picture, the flash of a photo. It tells the status line how the stream fares.
VideoRenderer {
    id: podVideo

    required property MotionGuard guard
    required property SteeringKeys motionKeys
    required property DragMarkers markers
    required property StatusLine line
    // What the drawer leaves free of its width.
    required property real room
    // Whether there is something that Escape closes.
    required property bool closable

    signal closeWanted()

    function flash() { photoFlash.show(); }

    Accessible.role: Accessible.Graphic
    Accessible.name: Texts.video

    onErrorOccurred: error => {
        console.log("错误:", error);
        line.showError("错误: " + error);
    }
    onConnectionLost: {
        console.log("连接丢失");
        line.show("连接丢失，重连中...", Theme.statusWarning);
    }
    onConnectionRestored: {
        console.log("连接恢复");
        line.show("连接恢复", Theme.statusGood);
    }
    onPlayingChanged: {
        if (!mainWindow.isManuallyUpdating)
            line.showVideoState();
    }

    Keys.onPressed: event => {
        if (mainWindow.typing)
            return;
        if (event.key === Qt.Key_Escape && closable) {
            closeWanted();
            event.accepted = true;
            return;
        }
        motionKeys.press(event);
    }
    Keys.onReleased: event => motionKeys.release(event)

    VideoGestures {
        anchors.fill: parent
        video: podVideo
        markers: podVideo.markers
        guard: podVideo.guard
        pointingEnabled: !podVideo.status.includes("重连") && !podVideo.line.told.includes("重连")
        pictureLive: podVideo.playing && podVideo.contentRect.width > 0 && !podVideo.pictureOld
        onClickedWithoutPicture: podVideo.line.reportForAWhile("noPicture", Theme.statusWarning)
    }
    OldPictureMark {
        objectName: "oldPictureMark"
        video: podVideo
    }
    VideoTrouble {
        objectName: "videoTrouble"
        video: podVideo
        room: podVideo.room
    }
    PhotoFlash {
        id: photoFlash
        objectName: "photoFlash"
        anchors.fill: parent
    }
}
