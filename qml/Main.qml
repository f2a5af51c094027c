import QtQuick
import QtQuick.Window
import QtQuick.Controls
import QtQuick.Layouts
import QtQuick.Controls.Material
import FlightRecorder
import MotionGuard
import "keys"
import "style"
import "window"

// The console's one window: the pod's video, what the operator's gestures on it and the floating
// controls over it send. Every file of the interface reaches mainWindow and cMain by these names, and
// nothing else that it does not own.
ApplicationWindow {
    id: mainWindow

    readonly property string defaultPodAddress: "192.168.10.20"
    readonly property int margin: 5
    // How long a decoded picture may wait for the window, in ms. Several times the rate of any
    // stream: asking for a picture that is shown already costs nothing.
    readonly property int frameInterval: 5

    property string rtspUrl: ""
    property string oldDeviceIp: ""
    property int oldDevicePort: 2000
    property string oldComPort: "COM1"
    property int oldBaudRate: 115200
    property int oldLanguageIndex: 0
    property alias isManuallyUpdating: streamStart.applying
    property bool showB7NRecordStatus: cMain.recording
    property bool showRecordStatus: false
    property bool gimbalConnected: cMain.isConnected
    property string currentDirection: ""
    property int zoomspeed: 4
    property int movespeed: cMain.moveSpeed
    property int xspeed: 0
    property int yspeed: 0
    property bool isPodInfoValuesShow: false
    property bool isHeadUpShown: true
    property bool isStatisticsShown: false

    property alias streamStarted: streamStart.started
    // What the pod has told is no longer what it does.
    readonly property bool podStateOld: !gimbalConnected || cMain.statusStale
    // The press under way has closed a menu, a list or a box, and means nothing else.
    property bool pressTaken: false
    // Closing was asked for in spite of an upgrade under way.
    property bool closeConfirmed: false
    // Where full screen leads back to.
    property bool wasMaximised: false
    readonly property alias typing: keyboardFocus.typing
    readonly property alias video: videoRenderer
    readonly property alias tips: tipLayer
    readonly property alias keys: keyTable

    width: 1080
    height: 720
    minimumWidth: 800
    minimumHeight: 600
    visible: true
    title: qsTr("KAVROControl")
    flags: Qt.FramelessWindowHint | Qt.Window
    color: Theme.windowEdge
    Material.accent: Material.Blue

    header: TitleBar {
        id: titleBarItem
        Keys.forwardTo: [videoRenderer]
        height: 20
        visible: mainWindow.visibility !== Window.FullScreen
        title: mainWindow.title
        onCloseClicked: if (mainWindow.mayClose(() => Qt.quit())) Qt.quit()
        onMinimizeClicked: mainWindow.showMinimized()
        onMaximizeClicked: mainWindow.showMaximized()
        onNormalClicked: mainWindow.showNormal()
    }

    onClosing: close => close.accepted = mayClose(() => mainWindow.close())

    onVisibilityChanged: visibility => {
        if (visibility !== Window.Minimized)
            titleBarItem.isMaxed = visibility === Window.Maximized;
    }

    // The word for a drag's direction; positive angles point down.
    function getDirection(deltaX, deltaY) {
        const angle = Math.atan2(deltaY, deltaX) * 180 / Math.PI;
        if (angle >= -22.5 && angle < 22.5)
            return "right";
        if (angle >= 22.5 && angle < 67.5)
            return "rightdown";
        if (angle >= 67.5 && angle < 112.5)
            return "down";
        if (angle >= 112.5 && angle < 157.5)
            return "leftdown";
        if (angle >= 157.5 || angle < -157.5)
            return "left";
        if (angle >= -157.5 && angle < -112.5)
            return "leftup";
        if (angle >= -112.5 && angle < -67.5)
            return "up";
        if (angle >= -67.5 && angle < -22.5)
            return "rightup";
        return "stop";
    }

    // param1 and param2 are the point for "moveto" and "track"; for a direction they are its
    // speeds, movespeed when left out.
    function sendPtzCommand(command, param1, param2) {
        console.log("PTZ指令:", command, param1, param2);
        if (typeof cMain === "undefined") {
            console.warn("cMain 未初始化");
            return;
        }
        const xSpeed = param1 ?? movespeed;
        const ySpeed = param2 ?? xSpeed;
        switch (command) {
        case "moveto": cMain.pointmoveto(param1, param2); break;
        case "track": cMain.pointtrack(param1, param2); break;
        case "up": cMain.moveUp(xSpeed); break;
        case "down": cMain.moveDown(xSpeed); break;
        case "left": cMain.moveLeft(xSpeed); break;
        case "right": cMain.moveRight(xSpeed); break;
        case "leftup": cMain.moveLeftUp(xSpeed, ySpeed); break;
        case "leftdown": cMain.moveLeftDown(xSpeed, ySpeed); break;
        case "rightup": cMain.moveRightUp(xSpeed, ySpeed); break;
        case "rightdown": cMain.moveRightDown(xSpeed, ySpeed); break;
        case "stop": cMain.stopMove(); break;
        default: console.warn("未知的PTZ指令:", command);
        }
    }

    function perform(command: string, speeds: var) {
        switch (command) {
        case "zoomIn": cMain.zoomIn(speeds[0] ?? zoomspeed); break;
        case "zoomOut": cMain.zoomOut(speeds[0] ?? zoomspeed); break;
        case "zoomStop": cMain.zoomStop(); break;
        case "manualFocusNear": cMain.manualFocusNear(); break;
        case "manualFocusFar": cMain.manualFocusFar(); break;
        case "manualFocusStop": cMain.manualFocusStop(); break;
        default: sendPtzCommand(command, speeds[0], speeds[1]);
        }
    }

    function containsPoint(scenePoint: point): bool {
        return scenePoint.x >= 0 && scenePoint.x < width
            && scenePoint.y >= 0 && scenePoint.y < height;
    }

    function readSettings() {
        const kept = storedSettings;
        rtspUrl = kept.rtsp.value("rtspIp", "rtsp://" + defaultPodAddress + ":554/live0");
        oldDeviceIp = kept.tcp.value("deviceIp", defaultPodAddress);
        oldDevicePort = kept.readNumber(kept.tcp, "devicePort", Validation.largestPort, 2000);
        oldBaudRate = kept.readNumber(kept.com, "baudRate", Validation.largestBaudRate, 115200);
        oldLanguageIndex = kept.readNumber(kept.general, "languageIndex", 1, 0);
        isHeadUpShown = kept.readNumber(kept.view, "headUpLine", 1, 1) === 1;
        readRecorderSettings();
    }

    function readRecorderSettings() {
        const kept = storedSettings;
        flightRecorder.folder = kept.recording.value("folder", "");
        flightRecorder.secondsBefore = kept.readNumber(kept.recording, "secondsBefore", 60, 10);
        flightRecorder.quota = kept.readNumber(kept.recording, "quota", 100000, 20);
        flightRecorder.snapshotFormat = kept.recording.value("snapshotFormat", "png");
    }

    function showDrawer(shown: bool) {
        podControlDrawer.visible = shown;
        podControlDrawer.opened = shown;
        giveFocusBack();
    }

    function toggleDrawer() { showDrawer(!podControlDrawer.visible); }

    function giveFocusBack() { keyboardFocus.giveBack(); }

    function showHeadUp(shown: bool) {
        isHeadUpShown = shown;
        storedSettings.store(storedSettings.view, "headUpLine", shown ? 1 : 0);
    }

    function showKeys() {
        keyPage.active = true;
        (keyPage.item as KeyPage).open();
    }

    function toggleFullScreen() {
        if (visibility !== Window.FullScreen) {
            wasMaximised = visibility === Window.Maximized;
            showFullScreen();
        } else if (wasMaximised) {
            showMaximized();
        } else {
            showNormal();
        }
    }

    // Without its password.
    function shownUrl(url: string): string { return videoRenderer.masked(url); }

    // The popup is gone before its press has been delivered to the end: to the video's handlers, too.
    function takePress() {
        pressTaken = true;
        pressEnd.start();
    }

    // Closing in the middle of an upgrade can cost the pod its firmware: true once that was confirmed.
    function mayClose(closeAgain: var): bool {
        if (closeConfirmed || !podControlDrawer.upgradeRunning) {
            windowPlace.keep();
            return true;
        }
        podControlDrawer.ask(Texts.closeInUpgrade, () => {
            closeConfirmed = true;
            closeAgain();
        });
        return false;
    }

    Component.onCompleted: {
        videoRenderer.setFrameInterval(frameInterval);
        readSettings();
        windowPlace.restore();
        keyTable.read();
        console.log("RTSP播放器启动完成");
    }

    StoredSettings {
        id: storedSettings
    }
    WindowPlace {
        id: windowPlace
        window: mainWindow
        settings: storedSettings
    }

    Binding {
        target: Texts
        property: "languageIndex"
        value: mainWindow.oldLanguageIndex
    }
    Binding {
        target: cMain
        property: "languageIndex"
        value: mainWindow.oldLanguageIndex
    }

    MotionGuard {
        id: motion
        objectName: "motion"
        window: mainWindow
        linkUp: cMain.isConnected
        onCommandDue: (command, speeds) => mainWindow.perform(command, speeds)
        onStopDue: command => mainWindow.perform(command, [])
    }
    SteeringKeys {
        id: steeringKeys
        guard: motion
    }
    KeyboardFocus {
        id: keyboardFocus
        video: videoRenderer
        motionKeys: steeringKeys
        asking: podControlDrawer.asking
    }
    StreamStart {
        id: streamStart
        video: videoRenderer
        line: statusLine
        onUrlGiven: url => mainWindow.rtspUrl = url
    }
    FlightRecorder {
        id: flightRecorder
        objectName: "recorder"
        backend: cMain
        video: videoRenderer
        onFailed: statusLine.showError(() => Texts.recorderTrouble(trouble, detail))
    }
    PodActions {
        id: podActions
        recorder: flightRecorder
        line: statusLine
        onPhotoSent: videoRenderer.flash()
    }
    KeyTable {
        id: keyTable
        actions: podActions
        motionKeys: steeringKeys
        settings: storedSettings
    }
    KeyShortcuts {
        table: keyTable
        typing: mainWindow.typing
    }
    Loader {
        id: keyPage
        active: false
        sourceComponent: KeyPage {
            table: mainWindow.keys
        }
    }

    Timer {
        id: pressEnd
        interval: 0
        onTriggered: mainWindow.pressTaken = false
    }
    Connections {
        target: cMain
        function onSbusDataError(error: string) {
            statusLine.showError(() => Texts.error + Texts.translated(error));
        }
    }

    ColumnLayout {
        anchors.fill: parent
        anchors.margins: 1
        spacing: 4

        PodVideo {
            id: videoRenderer
            objectName: "videoRenderer"
            Layout.fillWidth: true
            Layout.fillHeight: true
            source: mainWindow.rtspUrl
            autoReconnect: true
            reconnectInterval: 5000
            maxReconnectAttempts: 100
            focus: true
            guard: motion
            motionKeys: steeringKeys
            markers: dragMarkers
            line: statusLine
            room: Math.min(width, podInfo.freeWidth)
            closable: podControlsTools.menuOpen || podControlDrawer.visible
            onCloseWanted: {
                if (podControlsTools.menuOpen)
                    podControlsTools.closeMenus();
                else
                    mainWindow.showDrawer(false);
            }
        }

        StatusLine {
            id: statusLine
            Layout.fillWidth: true
            Layout.preferredHeight: 20
            video: videoRenderer
        }
    }

    PodInfoOverlay {
        id: podInfo
        objectName: "podInfo"
        // What the drawer leaves free.
        readonly property real freeWidth: podControlDrawer.visible ? podControlDrawer.x
                                                                   : parent.width
        // The video item writes its count of attempts at the lower edge of the picture.
        readonly property rect picture: videoRenderer.contentRect
        readonly property real attemptsHeight: !videoRenderer.isReconnecting ? 0
            : 30 + (picture.height > 0 ? videoRenderer.height - picture.bottom : 0)
        width: Math.min(400, freeWidth - 2 * mainWindow.margin)
        x: (freeWidth - width) / 2
        anchors.bottom: parent.bottom
        anchors.bottomMargin: 25 + attemptsHeight
        visible: mainWindow.isPodInfoValuesShow
    }
    // In the order in which Tab goes through them; the keys steer from each.
    Notice {
        id: notice
        Keys.forwardTo: [videoRenderer]
        objectName: "notice"
        anchors.left: parent.left
        anchors.top: parent.top
        anchors.margins: mainWindow.margin
        width: Math.min(420, podControlsTools.x - 2 * mainWindow.margin)
        z: 2
        readonly property string recorderTrouble: flightRecorder.trouble === ""
            ? "" : Texts.recorderTrouble(flightRecorder.trouble, flightRecorder.detail)
        text: storedSettings.trouble
              + (storedSettings.trouble !== "" && recorderTrouble !== "" ? "\n" : "")
              + recorderTrouble
    }
    HeadUpLine {
        id: headUpLine
        Keys.forwardTo: [videoRenderer]
        objectName: "headUpLine"
        x: mainWindow.margin
        y: mainWindow.margin
        z: 1
        room: Math.min(podControlDrawer.visible ? podControlDrawer.x : parent.width,
                       podSettings.groundX) - 2 * mainWindow.margin
        video: videoRenderer
        recorder: flightRecorder
        visible: mainWindow.isHeadUpShown
        onRecordHereClicked: podActions.recordHere()
    }
    LinkPanel {
        id: podSettings
        Keys.forwardTo: [videoRenderer]
        objectName: "podSettings"
        anchors.right: parent.right
        anchors.top: parent.top
        anchors.margins: mainWindow.margin
        z: 2 // over the drawer
        tipsBeside: podControlDrawer.visible ? podControlDrawer : podSettings
        onSettingsClicked: mainWindow.toggleDrawer()
    }
    LinkBanner {
        id: linkBanner
        Keys.forwardTo: [videoRenderer]
        objectName: "linkBanner"
        // Between what stands at the left edge and the tool strip or the drawer.
        readonly property real edge: 60
        readonly property real room: Math.min(podInfo.freeWidth, podControlsTools.x) - edge
                                     - mainWindow.margin
        x: edge + (room - width) / 2
        width: Math.min(420, room)
        anchors.top: parent.top
        anchors.topMargin: 50
        z: 3
        line: statusLine
        closing: podControlDrawer.linkClosing
        onReconnectClicked: podControlDrawer.reconnect()
    }
    CloseTrackButton {
        id: closetrackbutton
        Keys.forwardTo: [videoRenderer]
        objectName: "closetrackbutton"
        anchors.left: parent.left
        anchors.leftMargin: 15
        anchors.top: parent.top
        anchors.topMargin: 50
        z: 999
        visible: cMain.isTracking
        onStopClicked: podActions.stopTracking()
    }
    ManualFocusButtons {
        id: manualfocusbuttons
        Keys.forwardTo: [videoRenderer]
        objectName: "manualfocusbuttons"
        guard: motion
        anchors.left: parent.left
        anchors.leftMargin: 10
        anchors.top: parent.top
        anchors.topMargin: 150
        z: 999
        visible: cMain.isManualFocus
    }
    ToolStrip {
        id: podControlsTools
        Keys.forwardTo: [videoRenderer]
        objectName: "podControlsTools"
        guard: motion
        actions: podActions
        anchors.right: parent.right
        anchors.rightMargin: mainWindow.margin
        anchors.verticalCenter: parent.verticalCenter
        z: 1
        enabled: !podControlDrawer.visible // which covers it
    }
    PodControlDrawer {
        id: podControlDrawer
        Keys.forwardTo: [videoRenderer]
        objectName: "podControlDrawer"
        recorder: flightRecorder
        guard: motion
        line: statusLine
        settings: storedSettings
        width: 450
        color: Theme.drawer
        radius: 4
        z: 1
        visible: false
        anchors.right: parent.right
        anchors.top: parent.top
        anchors.bottom: parent.bottom
        anchors.rightMargin: mainWindow.margin
        anchors.topMargin: mainWindow.margin

        onUrlChanged: newUrl => streamStart.apply(newUrl)
        onPageChanged: page => console.log("切换到页面:", page)
        onClosed: mainWindow.showDrawer(false)
        onRecordHereClicked: podActions.recordHere()
        onSnapshotClicked: podActions.snapshot()
        onPhotoClicked: podActions.photo()
        onRecordClicked: podActions.record()
    }
    RecorderSign {
        objectName: "recorderSign"
        anchors.left: parent.left
        anchors.leftMargin: mainWindow.margin
        anchors.bottom: parent.bottom
        anchors.bottomMargin: 30
        z: 1
        recorder: flightRecorder
    }
    Loader {
        // Beside the buttons at the left edge, below the banner.
        x: 70
        y: 120
        width: 270
        z: 1
        active: mainWindow.isStatisticsShown
        sourceComponent: StatisticsPanel {
            objectName: "statisticsPanel"
            video: mainWindow.video
        }
    }
    DragMarkers {
        id: dragMarkers
        anchors.fill: parent
        z: 999
    }
    TipLayer {
        id: tipLayer
        parent: mainWindow.contentItem.parent
        anchors.fill: parent
        z: 1000001 // one above the popups
    }
    ResizeHandles {
        parent: mainWindow.contentItem.parent
        anchors.fill: parent
        z: 1000
        visible: mainWindow.visibility === Window.Windowed
    }
}
