import QtQuick
import FlightRecorder
import "drawer/controls"
import "drawer/pages"
import "drawer"
import "style"

// Everything that is not a gesture on the video, in seven pages: connection, gimbal, camera, SBUS,
// joystick, positioning, firmware. It lives inside the main window and uses the window's ids
// (mainWindow, statusLine, videoRenderer and storedSettings); its pages use the ids of this file in
// turn: root for the state kept across pages, drawerActions for every call.
//
// Nothing here holds a motion: each control sends one command per use.
Rectangle {
    id: root

    signal urlChanged(string newUrl)
    signal pageChanged(int page)
    signal closed()
    signal recordHereClicked()
    signal snapshotClicked()

    required property FlightRecorder recorder

    property bool opened: false
    property int currentPage: pageInfo

    // What was switched last; the pod does not report these.
    property bool isOSDShow: true
    property bool isTargetCheck: true
    property int frameSizeIndex: -1
    property bool isTrackAutoZoom: false
    property bool isContinuousDistance: false
    property bool isClearFrog: false
    property bool isElectronicZoom: false
    property bool isLaserLight: false
    property int kjgZoomToIndex: -1
    property int rcxZoomToIndex: -1
    property int protocolIndex: -1
    property int frequencyIndex: -1
    // Whose progress the backend is reporting: 0 the online upgrade's, 1 the local one's.
    property int updateType: 0

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
            drawerActions.giveFocusBack();
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
        onClicked: drawerActions.giveFocusBack()
        onWheel: wheel => wheel.accepted = true
    }

    MessageBox {
        id: customDialog
    }

    DrawerActions {
        id: drawerActions
        box: customDialog
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
    }

    // Outlives its page: leaving the page must not strand a started upgrade.
    OnlineUpgradeRun {
        id: onlineUpgrade
    }

    SbusMemory {
        id: sbusMemory
    }

    ToolBarColumn {
        id: toolBar
        anchors {
            left: parent.left
            top: parent.top
            bottom: parent.bottom
        }
        currentPage: root.currentPage
        onPageChosen: page => {
            root.currentPage = page;
            drawerActions.giveFocusBack();
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
        sourceComponent: [infoPage, cameraPage, settingsPage, sbussettingPage, joysticksettingPage,
            positioningPage, firmwareupdatePage][root.currentPage]
    }

    Component {
        id: infoPage
        ConnectionPage {}
    }
    Component {
        id: cameraPage
        GimbalPage {}
    }
    Component {
        id: settingsPage
        FunctionsPage {}
    }
    Component {
        id: sbussettingPage
        SbusPage {}
    }
    Component {
        id: joysticksettingPage
        JoystickPage {}
    }
    Component {
        id: positioningPage
        PositioningPage {}
    }
    Component {
        id: firmwareupdatePage
        FirmwarePage {}
    }

    Component.onCompleted: {
        followVisibility();
        // Without the module the component is in error, silently: no joystick then.
        const component = Qt.createComponent("drawer/JoystickSource.qml");
        if (component.status === Component.Ready)
            joystick = component.createObject(root);
    }
}
