import QtQuick
import MotionGuard
import VideoRenderer

// What the pointer does on the video: click to point or track, drag to steer, wheel to zoom.
Item {
    id: gestures

    required property VideoRenderer video
    required property DragMarkers markers
    required property MotionGuard guard
    // While the stream is being reconnected a click would point at a picture that is not there.
    required property bool pointingEnabled
    // What is shown is what the camera sees now.
    required property bool pictureLive

    signal clickedWithoutPicture()

    readonly property int deadZone: 10 // pixels on either axis
    readonly property int pointMax: 255
    // A press so soon after the window came to the front is the one that brought it there.
    readonly property int activationMs: 300
    property real activatedAt: 0
    property real pressedAt: 0
    readonly property string dragSource: "drag"
    readonly property string wheelSource: "wheel"

    // A drag that was ended from outside sends nothing more until the next press, even if the
    // handler takes the held button for the beginning of another drag.
    property bool pressIsFresh: false
    property bool dragging: false
    property bool dragEnded: false

    // Item position to the pod's coordinates over the picture; null beside the picture.
    function pointAt(position: point): var {
        const picture = gestures.video.contentRect;
        if (picture.width <= 0 || picture.height <= 0
                || position.x < picture.x || position.x > picture.x + picture.width
                || position.y < picture.y || position.y > picture.y + picture.height)
            return null;
        const scaled = (offset, length) => Math.max(0, Math.min(gestures.pointMax,
                                               Math.round(offset / length * gestures.pointMax)));
        return Qt.point(scaled(position.x - picture.x, picture.width),
                        scaled(position.y - picture.y, picture.height));
    }

    // Only a deliberate click points: not the second of a double click, by which time the first has
    // turned the picture away, and not the one that brings the window to the front.
    function click(position: point) {
        const target = pointAt(position);
        if (target === null || dragHandler.active || tapHandler.tapCount > 1
                || pressedAt - activatedAt < activationMs)
            return;
        console.log("点击移动到:", target.x, target.y);
        mainWindow.sendPtzCommand(cMain.isTracking ? "track" : "moveto", target.x, target.y);
    }

    function beginDrag() {
        if (!pressIsFresh)
            return;
        pressIsFresh = false;
        dragging = true;
        dragEnded = false;
        console.log("开始拖拽");
        const pressed = dragHandler.centroid.scenePressPosition;
        const now = dragHandler.centroid.scenePosition;
        markers.begin(pressed);
        // The translation is told from the next move on; the control must not wait for it.
        followDrag(now.x - pressed.x, now.y - pressed.y);
    }

    function followDrag(dx: real, dy: real) {
        if (!dragHandler.active || dragEnded)
            return;
        const now = dragHandler.centroid.scenePosition;
        if (!mainWindow.containsPoint(now)) {
            cutDragShort();
            return;
        }
        markers.follow(now);
        if (Math.abs(dx) <= deadZone && Math.abs(dy) <= deadZone) {
            haltDrag();
            return;
        }
        const direction = mainWindow.getDirection(dx, dy);
        if (direction === mainWindow.currentDirection)
            return;
        mainWindow.currentDirection = direction;
        console.log("拖拽方向:", direction);
        gestures.guard.press(dragSource, direction);
        if (!moveTimer.running)
            moveTimer.start();
    }

    function haltDrag() {
        moveTimer.stop();
        mainWindow.currentDirection = "";
        gestures.guard.release(dragSource);
    }

    function cutDragShort() {
        dragEnded = true;
        markers.end();
        haltDrag();
    }

    function endDrag() {
        console.log("结束拖拽");
        dragging = false;
        cutDragShort();
        stopTimer.restart();
    }

    TapHandler {
        id: tapHandler
        acceptedButtons: Qt.LeftButton
        enabled: gestures.pointingEnabled && gestures.pictureLive && !mainWindow.pressTaken
        onTapped: eventPoint => {
            gestures.video.forceActiveFocus();
            gestures.click(eventPoint.position);
        }
    }
    TapHandler {
        acceptedButtons: Qt.LeftButton
        enabled: !tapHandler.enabled && !mainWindow.pressTaken
        onTapped: {
            gestures.video.forceActiveFocus();
            gestures.clickedWithoutPicture();
        }
    }
    TapHandler {
        id: tapHandler2
        acceptedButtons: Qt.RightButton
        enabled: !mainWindow.pressTaken
        onTapped: cMain.pointtrackstop()
    }
    DragHandler {
        id: dragHandler
        target: null
        enabled: ownPress.active
        grabPermissions: PointerHandler.CanTakeOverFromItems
                         | PointerHandler.ApprovesTakeOverByAnything
        onActiveChanged: {
            if (active)
                gestures.beginDrag();
            else if (gestures.dragging)
                gestures.endDrag();
        }
        onTranslationChanged: gestures.followDrag(translation.x, translation.y)
    }
    // Active for a press that no control above the video has taken. The drag handler, which hears
    // of the press after it, would take such a press from its control all the same.
    PointHandler {
        id: ownPress
        acceptedButtons: Qt.LeftButton
        enabled: !mainWindow.pressTaken
        onActiveChanged: {
            gestures.pressIsFresh = active;
            if (active)
                gestures.pressedAt = Date.now();
        }
    }
    WheelHandler {
        id: wheelHandler
        acceptedDevices: PointerDevice.Mouse
        acceptedModifiers: Qt.NoModifier
        onWheel: event => {
            wheelStopTimer.restart();
            if (event.angleDelta.y > 0) {
                console.log("滚轮向上 - 放大");
                gestures.guard.press(gestures.wheelSource, "zoomIn");
            } else if (event.angleDelta.y < 0) {
                console.log("滚轮向下 - 缩小");
                gestures.guard.press(gestures.wheelSource, "zoomOut");
            }
        }
    }

    Timer {
        id: moveTimer
        objectName: "moveTimer"
        interval: 100
        repeat: true
        onTriggered: {
            console.log("持续发送:", mainWindow.currentDirection);
            gestures.guard.repeat(gestures.dragSource);
        }
    }
    Timer {
        id: stopTimer
        objectName: "stopTimer"
        interval: 200
        onTriggered: {
            console.log("停止运动");
            gestures.guard.stopAgain(MotionGuard.Move);
        }
    }
    Timer {
        id: wheelStopTimer
        objectName: "wheelStopTimer"
        interval: 150
        onTriggered: {
            console.log("滚轮滚动停止，执行zoomStop()");
            gestures.guard.release(gestures.wheelSource);
        }
    }

    Connections {
        target: mainWindow
        function onActiveChanged() {
            if (mainWindow.active)
                gestures.activatedAt = Date.now();
        }
    }
    Connections {
        target: gestures.guard
        function onAllReleased() {
            wheelStopTimer.stop();
            if (dragHandler.active)
                gestures.cutDragShort();
        }
    }
}
