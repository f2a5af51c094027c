pragma Singleton
import QtQuick

// The English of what the backend and the video item tell in Chinese, whatever the interface's language:
// refusals, states, errors and the steps of an upgrade, with numbers and names between the phrases.
QtObject {
    // A phrase stands before those that it contains.
    readonly property list<string> pairs: [
        "串口未连接，无法发送数据", "The serial port is not connected, nothing was sent",
        "未连接，无法发送数据", "Not connected, nothing was sent",
        "TCP未连接", "TCP is not connected",
        "不是串口模式", "Not in serial mode",
        "不是TCP模式", "Not in TCP mode",
        "读取超时", "The pod did not answer",
        "数据长度不足，需要", "Too few values: needed ",
        "项，实际", ", given ",
        "串口连接丢失", "Serial connection lost",
        "未知错误", "unknown error",
        // The video item's
        "状态: ", "Status: ",
        "错误: ", "Error: ",
        "未设置视频源", "no video source is set",
        "正在连接...", "connecting...",
        "播放中", "playing",
        "已暂停", "paused",
        "已停止", "stopped",
        "重连失败，已达最大重试次数", "reconnecting failed, no attempts are left",
        "重连失败，", "reconnecting failed, ",
        "连接失败，", "connecting failed, ",
        "连接失败", "connecting failed",
        "连接中断，", "connection lost, ",
        "连接中断", "connection lost",
        "连接丢失，", "Connection lost, ",
        "连接恢复", "Connection restored",
        "URL已更新，重新连接中...", "URL updated, reconnecting...",
        "秒后重试...", " s to the next attempt...",
        "秒后重连...", " s to the next attempt...",
        "重连中...", "reconnecting...",
        "重连成功", "reconnected",
        "播放器未初始化", "the player is not initialised",
        "无法打开UDP流", "the UDP stream cannot be opened",
        "无法打开视频流", "the stream cannot be opened",
        "无法分配格式上下文", "no memory for the stream",
        "无法获取流信息", "the stream's description cannot be read",
        "未找到视频流", "no video in the stream",
        "不支持的解码器", "no decoder for this video",
        "无法创建解码器上下文", "the decoder cannot be made",
        "无法复制编解码器参数", "the decoder cannot be set up",
        "无法打开解码器", "the decoder cannot be opened",
        // An upgrade's
        "已关闭串口/TCP连接", "The serial/TCP connection was closed",
        "错误：未找到目标设备，请检查设备是否连接", "Error: no bootloader was found, please check that the pod is connected",
        "使用端口:", "Uses the port ",
        "无法打开串口 ", "Cannot open serial port ",
        "已打开", "is open",
        "应答超时", "No answer in time",
        "串口错误", "Serial port error",
        "串口 ", "Serial port ",
        "重发Bootloader启动报文", "sends the bootloader's start again",
        "发送Bootloader启动报文", "sends the bootloader's start",
        "收到下位机UID", "got the pod's UID",
        "UID长度错误", "the UID has a wrong length",
        "客户端未连接", "the server is not connected",
        "重新设定下位机请求延迟", "sets the request delay again,",
        "设定下位机请求延迟", "sets the request delay,",
        "重新发送UUID", "sends the UUID again",
        "发送UUID", "sends the UUID",
        "重新发送签名", "sends the signature again",
        "发送签名", "sends the signature",
        "重新发送固件", "sends firmware again,",
        "发送固件", "sends firmware",
        "报文错误", "Frame error",
        "收到错误应答码", "wrong answer code",
        "收到错误应答", "wrong answer",
        "收到错误数据长度", "wrong length of data",
        "固件过大", "the firmware is too large",
        "字节", "bytes",
        "客户端收到服务器应答", "the server answered"
    ]

    function english(text: string): string {
        for (let i = 0; i < pairs.length; i += 2)
            text = text.split(pairs[i]).join(pairs[i + 1]);
        return text;
    }
}
