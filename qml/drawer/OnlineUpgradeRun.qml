import QtQuick

// The online upgrade from the button to its end mark: the pod's link is closed, the bootloader gets
// five seconds to appear, then the backend takes over and reports progress and messages.
QtObject {
    id: run

    property int percent: 0
    // The local upgrade's; the backend has one progress for both.
    property int localPercent: 0
    readonly property bool waiting: upgradeDelayTimer.running
    // Between the backend's first and its last progress.
    readonly property bool transferring: percent > 0 && percent < 100
    readonly property bool running: waiting || transferring
                                    || (drawerActions.hasBackend && percent < 100
                                        && (cMain.onlineUpgradeRunning ?? false))
    readonly property bool localRunning: drawerActions.hasBackend && (cMain.localUpgradeRunning ?? false)

    function start() {
        if (localRunning)
            return;
        const closed = drawerActions.performClosing(() => {
            if (cMain.isConnected)
                cMain.disconnect();
        });
        if (!closed)
            return;
        root.updateType = 0;
        percent = 0;
        finishTimer.stop();
        cMain.message = "已关闭串口/TCP连接";
        drawerActions.report("linkClosed", "orange");
        upgradeDelayTimer.start();
    }

    function complete() {
        upgradeDelayTimer.stop();
        finishTimer.stop();
        percent = 0;
        drawerActions.perform(() => cMain.completeUpdate());
    }

    property Timer upgradeDelayTimer: Timer {
        objectName: "upgradeDelayTimer"
        interval: 5000
        onTriggered: {
            console.log("延迟结束，开始升级");
            drawerActions.perform(() => cMain.beginUpdate());
        }
    }

    property Timer finishTimer: Timer {
        objectName: "finishTimer"
        interval: 1000
        onTriggered: drawerActions.report("updateFinished", "green")
    }

    property Connections backend: Connections {
        target: drawerActions.hasBackend ? cMain : null
        function onUpgradeProgressChanged() {
            if (isNaN(cMain.upgradeProgress))
                return;
            if (root.updateType !== 0) {
                run.localPercent = cMain.upgradeProgress;
                return;
            }
            run.percent = cMain.upgradeProgress;
            if (run.percent >= 100)
                run.finishTimer.restart();
        }
    }
}
