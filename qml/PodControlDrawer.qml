import QtQuick
import FlightRecorder
import MotionGuard
import "drawer/controls"
import "drawer/pages"
import "drawer"
import "style"
import "window"

// Everything that is not a gesture on the video, in seven pages: connection, gimbal, camera, SBUS,
// joystick, positioning, firmware. What outlives a page is made here and given to the page.
//
// Nothing here holds a motion: each control sends one command per use.
Rectangle {
    id: root

    signal urlChanged(string newUrl)
    signal pageChanged(int page)
    signal closed()
    signal recordHereClicked()
    signal snapshotClicked()
    signal photoClicked()
    signal recordClicked()

    required property FlightRecorder recorder
    required property MotionGuard guard
    required property StatusLine line
    required property StoredSettings settings

    // Its tips stand beside it.
    readonly property bool keepsTipsOutside: true
    readonly property alias asking: customDialog.opened
    property bool opened: false
    property int currentPage: pageInfo

    // What was switched last; the pod does not report these.
    property alias isOSDShow: sentChoices.isOSDShow
    property alias isTargetCheck: sentChoices.isTargetCheck
    property alias frameSizeIndex: sentChoices.frameSizeIndex
    property alias isTrackAutoZoom: sentChoices.isTrackAutoZoom
    property alias isContinuousDistance: sentChoices.isContinuousDistance
    property alias isClearFrog: sentChoices.isClearFrog
    property alias isElectronicZoom: sentChoices.isElectronicZoom
    property alias isLaserLight: sentChoices.isLaserLight
    property alias kjgZoomToIndex: sentChoices.kjgZoomToIndex
    property alias rcxZoomToIndex: sentChoices.rcxZoomToIndex
    property alias protocolIndex: sentChoices.protocolIndex
    property alias frequencyIndex: sentChoices.frequencyIndex
    property alias updateType: onlineUpgrade.updateType

    readonly property int pageInfo: 0
    readonly property int pageCamera: 1
    readonly property int pageSettings: 2
    readonly property int pageSbusSettings: 3
    readonly property int pageJoyStickSettings: 4
    readonly property int pagePositioning: 5
    readonly property int pageFirmwareUpdate: 6

    readonly property bool upgradeRunning: onlineUpgrade.running || onlineUpgrade.localRunning
    readonly property bool linkClosing: drawerActions.closing

    // The joystick, or null in a program without the joystick module. It works on every page.
    property QtObject joystick: null

    objectName: "podControlDrawer"
    color: Theme.drawer
    radius: 4
    onCurrentPageChanged: {
        console.log("页面切换到:", currentPage);
        pageChanged(currentPage);
    }
    onVisibleChanged: followVisibility()

    // Pages are made when the drawer is first shown, so that start-up does not pay for them.
    function followVisibility() {
        opened = visible;
        if (visible)
            pageLoader.active = true;
        else
            mainWindow.giveFocusBack();
    }

    // Does it only once the operator has confirmed.
    function ask(question: string, action: var) {
        customDialog.ask(question, action);
    }

    // To where the last link led.
    function reconnect() {
        linkOpener.openAgain();
    }

    // Nothing pressed on the drawer reaches the video below.
    MouseArea {
        anchors.fill: parent
        acceptedButtons: Qt.AllButtons
        onClicked: mainWindow.giveFocusBack()
        onWheel: wheel => wheel.accepted = true
    }

    MessageBox {
        id: customDialog
    }

    SentChoices {
        id: sentChoices
    }

    DrawerActions {
        id: drawerActions
        box: customDialog
        guard: root.guard
        line: root.line
    }

    // The pod answers once its link has settled.
    Timer {
        id: sendversiontimer
        objectName: "sendversiontimer"
        interval: 500
        onTriggered: {
            console.log("延迟0.5s");
            drawerActions.perform(() => {
                cMain.setTime();
                cMain.queryVersion();
            }, false);
        }
    }

    LinkOpener {
        id: linkOpener
        actions: drawerActions
        onOpened: sendversiontimer.restart()
    }

    // Outlives its page: leaving the page must not strand a started upgrade.
    OnlineUpgradeRun {
        id: onlineUpgrade
        actions: drawerActions
    }

    SbusMemory {
        id: sbusMemory
        actions: drawerActions
    }

    ToolBarColumn {
        id: toolBar
        anchors {
            left: parent.left
            top: parent.top
            bottom: parent.bottom
        }
        currentPage: root.currentPage
        onPhotoClicked: root.photoClicked()
        onRecordClicked: root.recordClicked()
        onPageChosen: page => {
            root.currentPage = page;
            mainWindow.giveFocusBack();
        }
    }

    PageHeader {
        id: header
        anchors {
            left: toolBar.right
            right: parent.right
            top: parent.top
        }
        title: Texts.pageTitles[root.currentPage]
        onCloseClicked: {
            root.visible = false;
            root.closed();
        }
    }

    Loader {
        id: pageLoader
        objectName: "pageLoader"
        anchors {
            left: toolBar.right
            right: parent.right
            top: header.bottom
            bottom: parent.bottom
        }
        active: false
        Accessible.role: Accessible.Pane
        Accessible.name: header.title
        sourceComponent: [infoPage, cameraPage, settingsPage, sbussettingPage, joysticksettingPage,
            positioningPage, firmwareupdatePage][root.currentPage]
    }

    Component {
        id: infoPage
        ConnectionPage {
            actions: drawerActions
            settings: root.settings
            opener: linkOpener
            recorder: root.recorder
            onUrlChanged: newUrl => root.urlChanged(newUrl)
            onRecordHereClicked: root.recordHereClicked()
            onSnapshotClicked: root.snapshotClicked()
        }
    }
    Component {
        id: cameraPage
        GimbalPage {
            actions: drawerActions
            settings: root.settings
            sent: sentChoices
        }
    }
    Component {
        id: settingsPage
        FunctionsPage {
            actions: drawerActions
            sent: sentChoices
        }
    }
    Component {
        id: sbussettingPage
        SbusPage {
            actions: drawerActions
            memory: sbusMemory
        }
    }
    Component {
        id: joysticksettingPage
        JoystickPage {
            device: root.joystick
        }
    }
    Component {
        id: positioningPage
        PositioningPage {
            actions: drawerActions
        }
    }
    Component {
        id: firmwareupdatePage
        FirmwarePage {
            actions: drawerActions
            run: onlineUpgrade
        }
    }

    Component.onCompleted: {
        followVisibility();
        // Without the module the component is in error, silently: no joystick then.
        const component = Qt.createComponent("drawer/JoystickSource.qml");
        if (component.status === Component.Ready)
            joystick = component.createObject(root, {guard: root.guard, sent: sentChoices});
    }
}
