import QtQuick
import FlightRecorder
import "../style"

// What the operator has the pod do from the window, with the pointer or with a key: each tells in the
// status line that it was sent; a refusal is told there by the window. Also the recording on this
// computer, which is begun and ended in the same ways.
QtObject {
    id: podActions

    required property FlightRecorder recorder
    required property StatusLine line

    // By what setHZH and setWC call them: text and log line.
    readonly property var pictures: [["thermalInVisible", "可见光嵌入热成像"],
        ["visibleInThermal", "热成像嵌入可见光"], ["visibleOnly", "可见光"], ["thermalOnly", "热成像"]]
    readonly property var colours: [["whiteHot", "白热"], ["blackHot", "黑热"], ["colourHot", "彩热"]]
    readonly property int speedStep: 16
    readonly property int highestSpeed: 255

    // What was chosen last in each menu, by the names of its texts, for as long as the link lasts: the
    // pod reports none of it.
    property var lastSent: ({})
    property bool refused: false
    property Connections snapshots: Connections {
        target: podActions.recorder
        function onSnapshotTaken(path: string) {
            podActions.line.report("snapshotTaken", Theme.statusGood, path);
        }
        function onSnapshotFailed(detail: string) {
            podActions.line.showError(() => Texts.snapshotFailed + detail);
        }
    }
    property Connections refusals: Connections {
        target: cMain
        function onSbusDataError() { podActions.refused = true; }
        function onConnectionChanged(connected: bool) {
            if (!connected)
                podActions.lastSent = {};
        }
    }

    signal photoSent()

    // `name` is that of the action's text.
    function send(name: string, log: string, command: var): bool {
        console.log(log);
        refused = false;
        command();
        if (!refused)
            podActions.line.reportForAWhile("sent", Theme.statusGood, () => Texts[name]);
        return !refused;
    }

    function choose(menu: string, name: string, log: string, command: var) {
        if (send(name, log, command))
            lastSent = Object.assign({}, lastSent, {[menu]: name});
    }

    function photo() {
        if (send("photo", "拍照功能", () => cMain.takePhoto()))
            photoSent();
        console.log("拍照功能已触发");
    }
    function record() {
        if (mainWindow.showB7NRecordStatus)
            send("stopRecord", "停止录像", () => cMain.stopRecord());
        else
            send("startRecord", "开始录像", () => cMain.startRecord());
    }
    function recordHere() {
        if (recorder.running) {
            recorder.stop();
            podActions.line.reportForAWhile("stoppedHere", Theme.statusGood, recorder.file);
        } else {
            recorder.start();
            if (recorder.running)
                podActions.line.reportForAWhile("startedHere", Theme.statusGood, recorder.usedFolder());
        }
    }
    function snapshot() {
        if (!recorder.takeSnapshot())
            podActions.line.reportForAWhile("noPicture", Theme.statusWarning);
    }
    function centre() { choose("pose", "center", "一键回中", () => cMain.oneKeyCenter()); }
    function lookDown() { choose("pose", "down", "一键向下", () => cMain.oneKeyDown()); }
    function yawCentre() { send("yawCentre", "航向回中", () => cMain.yawCenterOnly()); }
    function pitchDown() { send("pitchDown", "俯仰向下", () => cMain.pitchDownOnly()); }
    function yawFollow() { choose("mode", "yawFollow", "航向跟随模式", () => cMain.modeYawFollow()); }
    function yawLock() { choose("mode", "yawLock", "航向锁定模式", () => cMain.modeYawLock()); }
    function fpv() { choose("mode", "fpv", "FPV模式", () => cMain.modeFPV()); }
    function showPicture(type: int) { choose("picture", ...pictures[type], () => cMain.setHZH(type)); }
    function showColours(type: int) { choose("colours", ...colours[type], () => cMain.setWC(type)); }
    function stopTracking() { send("stopTracking", "停止跟踪", () => cMain.pointtrackstop()); }

    function changeSpeed(steps: int) {
        cMain.moveSpeed = Math.max(0, Math.min(highestSpeed, cMain.moveSpeed + steps * speedStep));
        line.reportForAWhile("moveSpeed", Theme.statusGood,
                                   () => " " + cMain.moveSpeed + " / " + highestSpeed);
    }
}
