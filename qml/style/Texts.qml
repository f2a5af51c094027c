pragma Singleton
import QtQuick

// The one place for texts in both languages.
QtObject {
    id: texts

    // 0 Chinese, 1 English; the main window keeps it in step with the operator's choice.
    property int languageIndex: 0

    function pick(chinese: string, english: string): string {
        return texts.languageIndex === 1 ? english : chinese;
    }

    // Main window
    readonly property string connected: pick("已连接", "Connected")
    readonly property string disconnected: pick("未连接", "Disconnected")
    readonly property string stale: pick("超过 2 秒没有收到吊舱状态", "No pod status for more than 2 seconds")
    readonly property string podInfo: pick("吊舱姿态与目标位置", "Pod attitude and target position")
    readonly property string settings: pick("设置", "Settings")
    readonly property string minimize: pick("最小化", "Minimize")
    readonly property string maximize: pick("最大化", "Maximize")
    readonly property string restore: pick("还原", "Restore")
    readonly property string close: pick("关闭", "Close")
    readonly property string photo: pick("拍照", "Take photo")
    readonly property string startRecord: pick("开始录像", "Start recording")
    readonly property string stopRecord: pick("停止录像", "Stop recording")
    readonly property string pictureInPicture: pick("画中画", "Picture in picture")
    readonly property string thermalInVisible: pick("可见光嵌入热成像", "Visible inside thermal")
    readonly property string visibleInThermal: pick("热成像嵌入可见光", "Thermal inside visible")
    readonly property string visibleOnly: pick("可见光", "Visible")
    readonly property string thermalOnly: pick("热成像", "Thermal")
    readonly property string pseudoColour: pick("伪彩", "Thermal colours")
    readonly property string whiteHot: pick("白热", "White hot")
    readonly property string blackHot: pick("黑热", "Black hot")
    readonly property string colourHot: pick("彩热", "Colour")
    readonly property string zoom: pick("变倍", "Zoom")
    readonly property string zoomIn: pick("放大（按住，E）", "Zoom in (hold, E)")
    readonly property string zoomOut: pick("缩小（按住，Q）", "Zoom out (hold, Q)")
    readonly property string oneKey: pick("一键操作", "One-key poses")
    readonly property string center: pick("一键回中", "Centre")
    readonly property string down: pick("一键向下", "Look down")
    readonly property string gimbalMode: pick("云台模式", "Gimbal mode")
    readonly property string yawFollow: pick("航向跟随模式", "Follow heading")
    readonly property string yawLock: pick("航向锁定模式", "Lock heading")
    readonly property string fpv: pick("FPV模式", "FPV mode")
    readonly property string focusNear: pick("近焦（按住）", "Focus nearer (hold)")
    readonly property string focusFar: pick("远焦（按住）", "Focus farther (hold)")
    readonly property string stopTracking: pick("停止跟踪", "Stop tracking")
    readonly property string trackingReady: pick("指点跟踪：点击目标开始，点此停止", "Point tracking: click a target to start, here to stop")

    // Drawer
}
