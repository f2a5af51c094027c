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

    readonly property string error: pick("错误: ", "Error: ")

    // What the backend or the video item told.
    function translated(told: string): string {
        return pick(told, Phrases.english(told));
    }

    // Main window
    readonly property string connected: pick("已连接", "Connected")
    readonly property string disconnected: pick("未连接", "Disconnected")
    readonly property string stale: pick("超过 2 秒没有收到吊舱状态", "No pod status for more than 2 seconds")
    readonly property string noPicture: pick("没有实时画面，点击无效", "No live picture: the click does nothing")
    readonly property string linkLost: pick("控制链路已中断", "Control link lost")
    readonly property string linkClosedByPod: pick("吊舱关闭了连接", "The pod closed the connection")
    readonly property string reconnect: pick("重新连接", "Reconnect")
    readonly property string tipReconnect: pick("重新连接到同一目标", "Connect to the same target again")
    readonly property string closeInUpgrade: pick("固件正在升级，现在关闭可能损坏吊舱。\n仍要关闭？",
        "A firmware update is running. Closing now may damage the pod.\nClose anyway?")
    function clock(seconds: real): string {
        return Math.floor(seconds / 60) + ":" + String(Math.floor(seconds) % 60).padStart(2, "0");
    }
    function since(seconds: int): string { return pick("，已 ", " for ") + clock(seconds); }
    readonly property string settingsUnwritable: pick("设置无法保存：文件夹只读或磁盘已满",
        "Settings cannot be saved: the folder is read-only or the disk is full")
    function settingsDamaged(keptAs: string): string {
        return pick("设置文件已损坏，已恢复默认设置", "The settings file was damaged; the defaults are used")
            + (keptAs !== "" ? pick("，原文件保存为 ", ". It is kept as ") + keptAs : "");
    }
    readonly property string pictureStands: pick("画面停住", "Picture stands still")
    function oldPicture(seconds: real): string {
        return pictureStands + pick(" ", " for ") + seconds.toFixed(1) + pick(" 秒", " s");
    }
    // By the words of the video item's trouble.
    readonly property var troubles: ({
        refused: pick("连接被拒绝", "Connection refused"),
        password: pick("用户名或密码错误", "Wrong user name or password"),
        noStream: pick("没有这个视频流", "No such stream"),
        busy: pick("服务器繁忙或故障", "The server is busy or at fault"),
        unknownHost: pick("找不到主机", "Unknown host"),
        unreachable: pick("网络不可达", "The network cannot be reached"),
        noAnswer: pick("对方没有应答", "No answer"),
        hungUp: pick("对方断开了连接", "The other side hung up"),
        transport: pick("服务器不支持此传输方式", "The server does not support this transport"),
        unknownAddress: pick("不支持的地址类型", "An address of an unknown kind"),
        notUnderstood: pick("收到的不是可识别的视频流", "What comes is no known stream"),
        cannotDecode: pick("无法解码此视频", "This video cannot be decoded"),
        noVideo: pick("流中没有视频", "No video in the stream"),
        nothingArrives: pick("没有收到任何数据", "Nothing arrives"),
        noNewPicture: pick("收到数据，但没有新图像", "Data arrives, but no new picture"),
        other: pick("原因未知", "Reason unknown")
    })
    readonly property string podInfo: pick("吊舱姿态与目标位置", "Pod attitude and target position")
    readonly property string settings: pick("设置", "Settings")
    readonly property string minimize: pick("最小化", "Minimise")
    readonly property string maximize: pick("最大化", "Maximise")
    readonly property string restore: pick("还原", "Restore")
    readonly property string close: pick("关闭", "Close")
    readonly property string scrollBar: pick("滚动条", "Scroll bar")
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

    // Head-up line
    readonly property string mode: pick("模式", "Mode")
    readonly property var workModes: ({
        Follow: pick("跟随", "Follow"), Lock: pick("锁定", "Lock"), Down: pick("向下", "Down"),
        Unknown: pick("未知", "Unknown")
    })
    readonly property string laserRange: pick("测距", "Laser")
    readonly property string tracking: pick("跟踪", "Tracking")
    readonly property string trackingHeld: pick("已锁定目标", "Target held")
    readonly property string trackingAwaits: pick("待点选", "Click a target")
    readonly property string off: pick("关", "off")
    readonly property string podRecording: pick("吊舱录像", "Pod records")
    readonly property string link: pick("链路", "Link")
    readonly property string video: pick("视频", "Video")
    readonly property string noVideo: pick("无画面", "no picture")
    function lossOf(share: string): string { return pick("丢失 ", "loss ") + share; }
    readonly property string headUpLine: pick("抬头信息", "Head-up line")
    readonly property string tipHeadUp: pick("在视频上方显示或隐藏模式、变倍、链路和视频状态",
        "Show or hide mode, zoom, link and video state over the video")

    // Recording on this computer; states and troubles by the words of its class
    readonly property string recordsHere: pick("本机录像", "Recorded here")
    readonly property string startHere: pick("开始本机录像", "Record here")
    readonly property string stopHere: pick("停止本机录像", "Stop recording here")
    readonly property string startedHere: pick("本机录像已开始: ", "Recording on this computer: ")
    readonly property string stoppedHere: pick("本机录像已停止: ", "Recording stopped: ")
    readonly property string snapshot: pick("截图", "Snapshot")
    readonly property string snapshotTaken: pick("截图已保存: ", "Snapshot: ")
    readonly property string snapshotFailed: pick("截图无法保存: ", "The snapshot could not be written: ")
    readonly property string tipSnapshot: pick("把当前画面连同吊舱数据存到录像文件夹",
        "Keep the picture of this moment, with the pod's data, in the folder of the recordings")
    readonly property string snapshotFormat: pick("截图格式", "Snapshots")
    readonly property string tipSnapshotFormat: pick("PNG 保留每个像素，JPEG 文件小得多",
        "PNG keeps every pixel, JPEG takes far less room")
    readonly property var recorderStates: ({
        Waiting: pick("没有画面可录", "no picture to record"),
        Stalled: pick("磁盘没有写入", "the disk takes nothing")
    })
    readonly property var recorderTroubles: ({
        NoFolder: pick("文件夹不存在且无法创建", "the folder is missing and cannot be made"),
        CannotCreate: pick("无法在文件夹中创建文件", "no file can be made in the folder"),
        FileGone: pick("录像文件或文件夹已被删除", "the file or its folder was removed"),
        WriteFailed: pick("写入失败", "writing failed"),
        DiskFull: pick("磁盘空间不足", "the disk is full"),
        QuotaReached: pick("已达到录像总量上限", "the quota of all recordings is reached")
    })
    function recorderTrouble(trouble: string, detail: string): string {
        return pick("本机录像已停止：", "Recording on this computer has ended: ")
            + (recorderTroubles[trouble] ?? trouble) + (detail !== "" ? " (" + detail + ")" : "");
    }
    function megabytes(bytes: real): string { return (bytes / 1e6).toFixed(1) + " MB"; }
    readonly property string recorderSection: pick("本机录像", "Recording on this computer")
    readonly property string recorderFolder: pick("文件夹", "Folder")
    readonly property string recorderBefore: pick("提前 (秒)", "Before (s)")
    readonly property string recorderQuota: pick("上限 (GB)", "Quota (GB)")
    readonly property string recorderSet: pick("本机录像设置已保存", "Recording settings kept")
    readonly property string recorderSetNext: pick("本机录像设置已保存，下次录像生效",
        "Recording settings kept, for the next recording")
    readonly property string badSeconds: pick("请输入正确的提前时间: 0-60 秒",
        "Please enter correct seconds before the start: 0-60")
    readonly property string badQuota: pick("请输入正确的录像总量上限: 1-100000 GB",
        "Please enter a correct quota: 1-100000 GB")
    readonly property string tipRecorderFolder: pick("录像保存的文件夹，留空为视频文件夹",
        "Where the recordings go; empty for the videos folder")
    readonly property string tipRecorderBefore: pick("录像包含按下之前的秒数",
        "How many seconds before the press a recording begins")
    readonly property string tipRecorderQuota: pick("文件夹内全部录像的总量上限，达到后停止，不删除文件",
        "All recordings in the folder together; at the limit a recording ends, nothing is deleted")
    readonly property string tipRecorderSet: pick("保存录像设置", "Keep these settings")
    readonly property string tipRecordHere: pick("把收到的视频和吊舱数据录到本机",
        "Record the received video and the pod's data on this computer")

    // Statistics
    readonly property string statistics: pick("统计", "Statistics")
    readonly property string tipStatistics: pick("在视频上显示或隐藏视频与链路的统计",
        "Show or hide statistics of video and link over the video")
    readonly property list<string> transports: ["-", "UDP", "RTSP/UDP", "RTSP/TCP", pick("其他", "other")]
    readonly property string statStream: pick("视频流", "Stream")
    readonly property string statReceived: pick("收到画面", "Received")
    readonly property string statDecoded: pick("已解码", "Decoded")
    readonly property string statShown: pick("已显示", "Shown")
    readonly property string statReplaced: pick("被更新取代", "Replaced")
    readonly property string statDamaged: pick("受损", "Damaged")
    readonly property string statLosses: pick("视频中断", "Stream losses")
    readonly property string statTimes: pick("解码/转换/绘制", "Dec/conv/paint")
    readonly property string statLinkIn: pick("链路接收", "Link in")
    readonly property string statLinkOut: pick("链路发送", "Link out")
    readonly property string statAge: pick("显示时延时", "Age")

    // Keys, by the names of the table of keys and of the steering commands
    readonly property string lastSent: pick("（上次发送）", " (last sent)")
    readonly property string sent: pick("已发送: ", "Sent: ")
    readonly property string yawCentre: pick("仅航向回中", "Centre yaw only")
    readonly property string pitchDown: pick("仅俯仰向下", "Pitch down only")
    readonly property string keysTitle: pick("快捷键", "Keys")
    readonly property string keysHint: pick("点击按键可更改，输入文字时快捷键无效",
        "Click a key to change it. While you type text the keys do nothing.")
    readonly property string keyDefaults: pick("恢复默认", "Defaults")
    readonly property string openManual: pick("打开手册", "Open the manual")
    readonly property string manualUnopened: pick("没有可打开手册的程序: ",
        "No program opens the manual: ")
    readonly property string keyUnusable: pick("此键不可用：请用字母、数字、F1-F12 或翻页键，可加 Ctrl、Alt、Shift；转动和变倍键除外",
        "This key cannot be used: letters, digits, F1 to F12 and the paging keys can, with Ctrl, Alt or Shift, but none that steers or zooms")
    function keyAwaited(action: string): string {
        return pick("请按“" + action + "”的新按键，Esc 取消",
                    "Press the new key of \"" + action + "\", Esc cancels");
    }
    function keyTaken(key: string, action: string): string {
        return pick(key + " 已用于“" + action + "”，未更改",
                    key + " is the key of \"" + action + "\": nothing was changed");
    }
    readonly property var keyActions: ({
        photo: photo, record: pick("开始或停止录像", "Start or stop recording"),
        recordHere: pick("在本机录像", "Record on this computer"),
        snapshot: pick("在本机保存截图", "Snapshot to this computer"), centre: center,
        lookDown: down, yawCentre: yawCentre, pitchDown: pitchDown, yawFollow: yawFollow,
        yawLock: yawLock, fpv: fpv, faster: pick("加快", "Faster"), slower: pick("减慢", "Slower"),
        stopTracking: stopTracking, help: pick("快捷键一览", "Show the keys"),
        drawer: pick("打开或关闭设置面板", "Open or close the drawer"),
        values: pick("显示或隐藏姿态数据", "Show or hide the attitude"),
        headUp: pick("显示或隐藏抬头信息", "Show or hide the head-up line"),
        statistics: pick("显示或隐藏统计", "Show or hide the statistics"),
        fullScreen: pick("全屏", "Full screen")
    })
    readonly property var steeringActions: ({
        up: pick("向上（按住）", "Tilt up (hold)"), down: pick("向下（按住）", "Tilt down (hold)"),
        left: pick("向左（按住）", "Turn left (hold)"), right: pick("向右（按住）", "Turn right (hold)"),
        zoomOut: pick("缩小（按住）", "Zoom out (hold)"), zoomIn: pick("放大（按住）", "Zoom in (hold)")
    })

    // Drawer
    readonly property string backendMissing: pick("错误: cMain 未初始化",
        "Error: cMain is not initialised")
    readonly property string ok: pick("确定", "OK")
    readonly property string progress: pick("进度", "Progress")
    readonly property string cancel: pick("取消", "Cancel")
    readonly property string tipCancel: pick("不执行", "Do nothing")
    readonly property string tipConfirm: pick("执行", "Do it")
    readonly property string notChosen: pick("未选择", "not chosen")
    readonly property string apply: pick("应用", "Set")
    readonly property string set: pick("设置", "Set")
    readonly property string query: pick("查询", "Query")
    readonly property string connectAction: pick("连接", "Conn")
    readonly property string disconnectAction: pick("断开", "DISC")
    readonly property string port: pick("端口", "Port")
    readonly property string tipClose: pick("关闭提示", "Close this message")
    readonly property string tipCloseDrawer: pick("关闭设置面板", "Close the drawer")

    // Drawer: connection
    readonly property string podVersion: pick("吊舱版本", "Pod version")
    readonly property string noVersion: pick("未读取", "not read yet")
    readonly property string streamSection: pick("视频流", "Video stream")
    readonly property string streamUpdated: pick("URL 已更新: ", "URL updated: ")
    readonly property string badStream: pick("请输入以 rtsp:// 或 udp:// 开头的流地址",
        "Please enter an address that begins with rtsp:// or udp://")
    readonly property string tcpSection: pick("TCP 连接", "TCP connection")
    readonly property string address: pick("地址", "Address")
    readonly property string badAddress: pick("请输入正确的IP地址", "Please enter a correct IP address")
    readonly property string badPort: pick("请输入正确的端口 (1-65535)",
        "Please enter a correct port (1-65535)")
    readonly property string tcpConnecting: pick("正在连接 TCP: ", "Connecting TCP: ")
    readonly property string tcpConnected: pick("TCP 连接成功", "TCP connected")
    readonly property string tcpFailed: pick("TCP 连接失败", "TCP connection failed")
    readonly property string tcpClosed: pick("TCP 连接已断开", "TCP disconnected")
    readonly property string serialSection: pick("串口连接", "Serial connection")
    readonly property string serialPort: pick("串口", "Port")
    readonly property string baudRate: pick("波特率", "Baud")
    readonly property string badBaudRate: pick("请输入正确的波特率", "Please enter a correct baud rate")
    readonly property string noPort: pick("错误: 没有选择有效的串口", "Error: no valid serial port chosen")
    readonly property string serialConnecting: pick("正在连接串口: ", "Connecting serial port: ")
    readonly property string serialConnected: pick("串口连接成功", "Serial port connected")
    readonly property string serialFailed: pick("串口连接失败", "Serial connection failed")
    readonly property string serialClosed: pick("串口连接已断开", "Serial port disconnected")
    readonly property string encoderSection: pick("编码模块", "Encoder module")
    readonly property string gateway: pick("网关", "Gateway")
    readonly property string bitRate: pick("码率", "Rate")
    readonly property string resolution: pick("分辨率", "Resolution")
    readonly property string encoding: pick("编码方式", "Encode")
    readonly property string badEncoder: pick("请输入或选择正确的IP地址，网关，码率，分辨率和编码方式",
        "Please input or choose correct IP,GateWay,BitRate,Resolution and EncodeType")
    readonly property string encoderSet: pick("重启后生效", "Requires a restart to take effect.")
    readonly property string tipVersion: pick("连接后从吊舱读取", "Read from the pod after connecting")
    readonly property string tipStream: pick("视频流地址，rtsp:// 或 udp://",
        "Address of the video stream, rtsp:// or udp://")
    readonly property string tipApplyStream: pick("保存地址并重新连接视频",
        "Store the address and reconnect the video")
    readonly property string tipTcpAddress: pick("吊舱的IP地址", "The pod's IP address")
    readonly property string tipTcpPort: pick("吊舱的TCP端口", "The pod's TCP port")
    readonly property string tipTcp: pick("连接或断开TCP", "Connect or disconnect TCP")
    readonly property string tipSerialPort: pick("选择串口，或输入设备路径",
        "Choose a serial port or type a device path")
    readonly property string tipBaudRate: pick("串口波特率", "Baud rate of the serial port")
    readonly property string tipSerial: pick("连接或断开串口", "Connect or disconnect the serial port")
    readonly property string tipEncoderAddress: pick("编码模块的IP地址",
        "IP address of the encoder module")
    readonly property string tipGateway: pick("编码模块的网关", "Gateway of the encoder module")
    readonly property string tipBitRate: pick("视频码率", "Bit rate of the video")
    readonly property string tipResolution: pick("视频分辨率", "Resolution of the video")
    readonly property string tipEncoding: pick("视频编码方式", "Encoding of the video")
    readonly property string tipQueryEncoder: pick("读取编码模块的设置",
        "Read the encoder module's settings")
    readonly property string tipSetEncoder: pick("写入编码模块的设置", "Write the encoder module's settings")

    // Drawer: gimbal
    readonly property string gimbalSection: pick("云台", "Gimbal")
    readonly property string reboot: pick("云台重启", "Reboot")
    readonly property string rebootNotice: pick("云台将重启，期间无法控制", "The gimbal restarts and cannot be controlled meanwhile")
    readonly property string rebootSent: pick("云台重启指令已发送", "The reboot command was sent")
    readonly property string information: pick("数据显示", "Infomation")
    readonly property string upright: pick("正置模式", "Upright Mode")
    readonly property string inverted: pick("倒置模式", "Inverted Mode")
    readonly property string uprightNotice: pick("切换为正置模式，重启后生效，注意吊舱安装方向",
        "Switching to upright mode requires a restart to take effect. \nPlease note the pod installation orientation.")
    readonly property string invertedNotice: pick("切换为倒置模式，重启后生效，注意吊舱安装方向",
        "Switching to inverted mode requires a restart to take effect. \nPlease note the pod installation orientation.")
    readonly property string moveSpeed: pick("运动速度", "MoveSpeed")
    readonly property string poseSection: pick("姿态", "Attitude")
    readonly property string pitch: pick("俯仰", "Pitch")
    readonly property string yaw: pick("航向", "Yaw")
    readonly property string turnTo: pick("转到", "Go to")
    readonly property string badAngles: pick("请输入正确的俯仰和航向角度",
        "Please enter correct pitch and yaw angles")
    readonly property string optionsSection: pick("选项", "Options")
    readonly property string protocol: pick("外发协议", "Protocol")
    readonly property string frequency: pick("回传频率", "Frequency")
    readonly property string language: pick("语言选择", "Language")
    readonly property string tipReboot: pick("重新启动云台", "Restart the gimbal")
    readonly property string tipInformation: pick("在视频上显示或隐藏姿态和目标位置",
        "Show or hide attitude and target position over the video")
    readonly property string tipUpright: pick("吊舱正向安装", "The pod is mounted upright")
    readonly property string tipInverted: pick("吊舱倒置安装", "The pod is mounted upside down")
    readonly property string tipMoveSpeed: pick("按键、拖拽移动云台的速度",
        "Speed of moving by keys and dragging")
    readonly property string tipPitch: pick("俯仰角，-120 至 30 度", "Pitch, -120 to 30 degrees")
    readonly property string tipYaw: pick("航向角，-180 至 180 度", "Yaw, -180 to 180 degrees")
    readonly property string tipTurnTo: pick("转到输入的角度，超出范围时取极限值",
        "Turn to these angles, limited to the pod's range")
    readonly property string tipProtocol: pick("吊舱发送的状态帧类型",
        "Kind of status frame that the pod sends")
    readonly property string tipFrequency: pick("状态帧的回传频率", "How often the pod sends its status")
    readonly property string tipLanguage: pick("界面语言", "Language of the interface")

    // Drawer: camera functions
    readonly property string switchesSection: pick("功能开关", "Functions")
    readonly property string pointTrack: pick("指点跟踪", "PointTrack")
    readonly property string manualFocus: pick("手动对焦", "ManualFocus")
    readonly property string targetCheck: pick("目标检测", "Detection")
    readonly property string trackAutoZoom: pick("跟踪自动变倍", "TrackAutoZoom")
    readonly property string continuousDistance: pick("连续测距", "ContinuousLRF")
    readonly property string clearFrog: pick("机芯除雾", "Defog")
    readonly property string electronicZoom: pick("电子变倍", "ElectronicZoom")
    readonly property string laserLight: pick("激光补光灯", "Fill Light")
    readonly property string choicesSection: pick("跟踪与变倍", "Tracking and zoom")
    readonly property string frameSize: pick("跟踪框尺寸", "Track Frame Size")
    readonly property string autoSize: pick("自动", "Auto")
    readonly property string visibleZoom: pick("可见光变倍至", "VisibleZoom")
    readonly property string thermalZoom: pick("热成像变倍至", "ThermalZoom")
    readonly property string badZoom: pick("请输入正确的变倍倍数: 1-",
        "Please enter a correct zoom factor: 1-")
    readonly property string tipPointTrack: pick("打开后单击视频即跟踪该点",
        "With this on a click on the video tracks that point")
    readonly property string tipManualFocus: pick("打开后视频左侧显示对焦按钮",
        "With this on the focus buttons stand at the left of the video")
    readonly property string tipOsd: pick("吊舱画面上的字符叠加", "The pod's own text over the picture")
    readonly property string tipTargetCheck: pick("自动检测画面中的目标", "Detect targets in the picture")
    readonly property string tipTrackAutoZoom: pick("跟踪时自动调整变倍", "Adjust the zoom while tracking")
    readonly property string tipContinuousDistance: pick("激光持续测距",
        "Measure the distance all the time")
    readonly property string tipClearFrog: pick("提高雾天画面的对比度", "More contrast in fog")
    readonly property string tipElectronicZoom: pick("光学变倍之后继续数字放大",
        "Magnify beyond the optical zoom")
    readonly property string tipLaserLight: pick("夜间照明", "Light for the night")
    readonly property string tipFrameSize: pick("跟踪框边长 (像素)",
        "Side of the tracking frame in pixels")
    readonly property string tipVisibleZoom: pick("可见光相机的变倍倍数",
        "Zoom factor of the visible-light camera")
    readonly property string tipThermalZoom: pick("热成像相机的变倍倍数", "Zoom factor of the thermal camera")
    readonly property string tipZoomTo: pick("变倍到选择的倍数", "Zoom to this factor")

    // Drawer: SBUS
    readonly property string sbusSection: pick("遥控通道分配", "Channel assignment")
    readonly property string sbusOthers: pick("其余通道", "Other channels")
    readonly property string sbusUnread: pick("尚未从吊舱读取", "Not read from the pod yet")
    readonly property string sbusRead: pick("已从吊舱读取", "Read from the pod")
    readonly property string sbusEdited: pick("有未写入的修改", "Changes not written yet")
    readonly property string sbusWritten: pick("已发送，可查询核对", "Sent; query to check")
    readonly property string sbusQueryFirst: pick("尚未读取吊舱的通道分配，未写入。\n正在查询，请核对后再设置。",
        "The pod's assignment has not been read: nothing was written.\nReading it now; please check it, then set.")
    readonly property string sbusSet: pick("通道分配已发送", "The assignment was sent")
    readonly property string sbusReadDone: pick("通道分配已读取", "The assignment was read")
    readonly property string tipSbusChannel: pick("控制此功能的SBUS通道，null 为不使用",
        "SBUS channel of this function, null for none")
    readonly property string tipSbusOthers: pick("第14至24项，原样写回",
        "Entries 14 to 24, written back unchanged")
    readonly property string tipSbusQuery: pick("从吊舱读取通道分配", "Read the assignment from the pod")
    readonly property string tipSbusSet: pick("把通道分配写入吊舱", "Write the assignment to the pod")

    // Drawer: joystick
    readonly property string joystickDevice: pick("设备", "Device")
    readonly property string joystickMissing: pick("此版本不含手柄支持", "No joystick support is built in")
    readonly property string joystickNone: pick("未检测到手柄，请连接手柄",
        "No joystick found, please connect one")
    readonly property string axesSection: pick("摇杆轴", "Axes")
    readonly property string buttonsSection: pick("按键", "Buttons")
    readonly property string axisFunction: pick("功能", "Function")
    readonly property string shortPress: pick("短按", "Short press")
    readonly property string longPress: pick("长按", "Long press")
    readonly property string tipAxisFunction: pick("此轴控制的功能", "What this axis steers")
    readonly property string tipAxisInverted: pick("反转此轴的方向", "Turn this axis round")
    readonly property string tipShortPress: pick("短按此键时执行", "Done on a short press")
    readonly property string tipLongPress: pick("长按此键时执行", "Done on a long press")

    // Drawer: positioning
    readonly property string trimSection: pick("位置微调", "Fine positioning")
    readonly property string fineTrim: pick("微调", "Fine")
    readonly property string coarseTrim: pick("粗调", "Coarse")
    readonly property string mapSection: pick("平面图", "Plan view")
    readonly property string latitude: pick("纬度", "Latitude")
    readonly property string longitude: pick("经度", "Longitude")
    readonly property string zoomLevel: pick("放大级别", "ZoomLevel")
    readonly property string distance: pick("距离", "Distance")
    readonly property string start: pick("开始", "Start")
    readonly property string stop: pick("停止", "Stop")
    readonly property string targetCenter: pick("目标目中", "Target Center")
    readonly property string planeCenter: pick("飞机居中", "Plane Center")
    readonly property string planeUnknown: pick("吊舱未上报飞机位置", "The pod reports no aircraft position")
    readonly property string targetUnknown: pick("吊舱未上报目标位置", "The pod reports no target position")
    readonly property string mapStopped: pick("点击“开始”显示实时平面图", "Press Start for the live view")
    readonly property string tipUp: pick("向上", "Up")
    readonly property string tipDown: pick("向下", "Down")
    readonly property string tipLeft: pick("向左", "Left")
    readonly property string tipRight: pick("向右", "Right")
    readonly property string tipMapStart: pick("开始或停止实时刷新", "Start or stop the live view")
    readonly property string tipTargetCenter: pick("以目标为中心", "Centre the view on the target")
    readonly property string tipPlaneCenter: pick("以飞机为中心", "Centre the view on the aircraft")
    readonly property string tipLatitude: pick("目标纬度 (度)", "Latitude of the target in degrees")
    readonly property string tipLongitude: pick("目标经度 (度)", "Longitude of the target in degrees")
    readonly property string tipZoomLevel: pick("每级放大两倍", "Each level magnifies twice")
    readonly property string tipDistance: pick("飞机到目标的水平距离",
        "Horizontal distance from the aircraft to the target")

    // Drawer: firmware
    readonly property string onlineSection: pick("在线升级", "Online update")
    readonly property string localSection: pick("本地升级", "Local update")
    readonly property string update: pick("升级", "Update")
    readonly property string complete: pick("完成", "Complete")
    readonly property string reset: pick("重置", "Reset")
    readonly property string open: pick("打开", "Open")
    readonly property string firmwareFile: pick("固件文件", "File")
    readonly property string linkClosed: pick("已关闭串口/TCP连接", "The serial/TCP connection was closed")
    readonly property string updateStarts: pick("5秒后开始升级", "The update starts in 5 seconds")
    readonly property string updateFinished: pick("固件已发送完成", "The firmware was sent")
    readonly property string onlineNotice: pick("将断开连接并从服务器升级固件，期间不要断电", "The connection is closed and the firmware is updated from the server. Do not cut the power meanwhile.")
    readonly property string localNotice: pick("将通过串口写入固件，期间不要断电", "The firmware is written over the serial port. Do not cut the power meanwhile.")
    readonly property string noFile: pick("请选择固件文件", "Please choose a firmware file")
    readonly property string chooseFile: pick("选择文件", "Select File")
    readonly property string allFiles: pick("所有文件 (*.*)", "All Files (*.*)")
    readonly property string tipUpdate: pick("断开连接并从服务器升级固件",
        "Disconnect and update the firmware from the server")
    readonly property string tipComplete: pick("结束升级并清除进度", "End the update and clear its progress")
    readonly property string tipFile: pick("固件文件的路径", "Path of the firmware file")
    readonly property string tipOpen: pick("选择固件文件", "Choose the firmware file")
    readonly property string tipUpdatePort: pick("吊舱升级口，可输入设备路径",
        "The pod's serial port, or type a device path")
    readonly property string tipLocalUpdate: pick("通过串口写入固件文件",
        "Write the file to the pod over the serial port")
    readonly property string tipReset: pick("清除文件，恢复默认端口和波特率",
        "Clear the file, default port and baud rate")

    // Drawer: lists, in the order of the indices that stand for them
    readonly property list<string> pageTitles: [
        pick("连接与设备信息", "Connection and device"), pick("云台设置", "Gimbal"),
        pick("相机功能", "Camera functions"), pick("SBUS 通道", "SBUS channels"),
        pick("手柄设置", "Joystick"), pick("精确定位", "Positioning"),
        pick("固件升级", "Firmware update")
    ]
    readonly property list<string> languages: ["中文", "English"]
    readonly property list<string> frameSizes: [autoSize, "32", "64", "96", "128", "256"]
    readonly property list<string> sbusLabels: [
        pick("俯仰控制", "Pitch Control"), pick("航向控制", "Yaw Control"),
        pick("可见光变倍", "Visible Zoom"), pick("手动聚焦", "Manual Focus"),
        pick("一键向下", "Down"), pick("一键回中", "Home"), pick("拍照/录像", "Photo/Record"),
        pick("目标检测、跟踪", "Detect/Track"), pick("画中画、伪彩切换", "PIP/IRColor"),
        pick("热成像电子变倍", "IR Zoom"), pick("激光测距", "LRF"), "Light",
        pick("OSD开关", "OSD Control")
    ]
    readonly property list<string> axisFunctions: [
        pick("未指定", "NULL"), pick("偏航角", "Yaw"), pick("俯仰角", "Pitch"), pick("变倍", "Zoom"),
        pick("聚焦", "Focus")
    ]
    // The first stands for no action; the others follow the joystick's list of actions.
    readonly property list<string> buttonActions: [
        pick("未指定", "NULL"), pick("俯仰向下", "Pitch Down"), pick("模式切换", "Mode Chg"),
        pick("拍照", "Picture"), pick("录像", "Record"), pick("开始跟踪", "Start Track"),
        pick("画中画切换", "Pip Chg"), pick("伪彩切换", "IR Color"), pick("OSD显示", "OSD"),
        pick("激光补光灯", "Laser Light"), pick("停止跟踪", "Stop Track")
    ]
    function axisDeflection(axis: string, negative: bool): string {
        return pick("摇杆轴 ", "Axis ") + axis + (negative ? " -" : " +");
    }
    function axisInverted(axis: string): string { return pick(axis + "反向", axis + " Opp"); }
    function joystickButton(number: int): string { return pick("按键" + number, "Button" + number); }
}
