import QtQuick

// The online upgrade from the button to its end mark: the pod's link is closed, the bootloader gets
// five seconds to appear, then the backend takes over and reports progress and messages.
QtObject {
    id: run

    required property DrawerActions actions

    // Whose progress the backend is reporting: 0 the online upgrade's, 1 the local one's.
    property int updateType: 0
    property int percent: 0
    // The local upgrade's; the backend has one progress for both.
    property int localPercent: 0
    readonly property bool waiting: upgradeDelayTimer.running
    // Between the backend's first and its last progress.
    readonly property bool transferring: percent > 0 && percent < 100
    readonly property bool running: waiting || transferring
                                    || (run.actions.hasBackend && percent < 100
                                        && (cMain.onlineUpgradeRunning ?? false))
    readonly property bool localRunning: run.actions.hasBackend && (cMain.localUpgradeRunning ?? false)

    function start() {
        if (localRunning)
            return;
        const closed = run.actions.performClosing(() => {
            if (cMain.isConnected)
                cMain.disconnect();
        });
        if (!closed)
            return;
        updateType = 0;
        percent = 0;
        finishTimer.stop();
        cMain.message = "已关闭串口/TCP连接";
        run.actions.report("linkClosed", "orange");
        upgradeDelayTimer.start();
    }

    function complete() {
        upgradeDelayTimer.stop();
        finishTimer.stop();
        percent = 0;
        run.actions.perform(() => cMain.completeUpdate());
    }

    property Timer upgradeDelayTimer: Timer {
        objectName: "upgradeDelayTimer"
        interval: 5000
        onTriggered: {
            console.log("延迟结束，开始升级");
            run.actions.perform(() => cMain.beginUpdate());
        }
    }

    property Timer finishTimer: Timer {
        objectName: "finishTimer"
        interval: 1000
        onTriggered: run.actions.report("updateFinished", "green")
    }

    property Connections backend: Connections {
        target: run.actions.hasBackend ? cMain : null
        function onUpgradeProgressChanged() {
            if (isNaN(cMain.upgradeProgress))
                return;
            if (run.updateType !== 0) {
                run.localPercent = cMain.upgradeProgress;
                return;
            }
            run.percent = cMain.upgradeProgress;
            if (run.percent >= 100)
                run.finishTimer.restart();
        }
    }
}
