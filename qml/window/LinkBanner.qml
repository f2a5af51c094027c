import QtQuick
import "../style"

// Says that the control link was lost, why and for how long, until there is one again. A link that
// the operator closes, or gives up for an upgrade, is no loss.
Rectangle {
    id: banner

    required property StatusLine line
    // The drawer is closing the link, or opening another.
    required property bool closing

    property bool wasConnected: false
    property real lostAt: 0 // ms of the day's clock, 0 while nothing is lost
    property int seconds: 0
    property string reason: ""
    // The backend's last complaint, which is the reason when it comes together with the loss.
    readonly property int togetherMs: 500
    property string complaint: ""
    property real complaintAt: 0
    readonly property bool lost: lostAt > 0

    signal reconnectClicked()

    function lose() {
        lostAt = Date.now();
        reason = lostAt - complaintAt < togetherMs ? complaint : "";
        seconds = 0;
        line.report("linkLost", Theme.statusError);
    }

    visible: lost
    // Not the seconds: each would be announced.
    Accessible.role: Accessible.AlertMessage
    Accessible.name: Texts.linkLost + ": " + reasonText.text
    height: column.height + 4 * Theme.gap
    color: Theme.alarm
    radius: Theme.radius
    border.width: 1
    border.color: Theme.value

    PointerStop {}
    Column {
        id: column
        x: 2 * Theme.gap
        y: 2 * Theme.gap
        width: button.x - 4 * Theme.gap
        spacing: Theme.gap

        Text {
            objectName: "linkBannerText"
            width: parent.width
            color: Theme.value
            font.bold: true
            font.pixelSize: 15
            text: Texts.linkLost + Texts.since(banner.seconds)
            wrapMode: Text.Wrap
        }
        Text {
            id: reasonText
            objectName: "linkBannerReason"
            width: parent.width
            color: Theme.value
            font.pixelSize: Theme.drawerFontSize
            text: banner.reason === "" ? Texts.linkClosedByPod : Texts.translated(banner.reason)
            wrapMode: Text.Wrap
        }
    }
    Rectangle {
        id: button
        objectName: "reconnectButton"
        anchors.right: parent.right
        anchors.rightMargin: 2 * Theme.gap
        anchors.verticalCenter: parent.verticalCenter
        width: buttonText.implicitWidth + 4 * Theme.gap
        height: Theme.entryHeight
        color: Theme.value
        enabled: !banner.closing
        opacity: mouse.containsMouse ? 0.85 : 1
        radius: Theme.radius

        Text {
            id: buttonText
            anchors.centerIn: parent
            color: Theme.drawerText
            font.bold: true
            font.pixelSize: Theme.drawerFontSize
            text: Texts.reconnect
        }
        PressArea {
            id: mouse
            tip: Texts.tipReconnect
            tipEdge: Qt.BottomEdge
            onClicked: banner.reconnectClicked()
        }
    }

    Timer {
        interval: 250
        repeat: true
        running: banner.lost
        onTriggered: banner.seconds = Math.max(0, Math.floor((Date.now() - banner.lostAt) / 1000))
    }
    Connections {
        target: cMain
        // A command refused for want of a link tells nothing of why there is none.
        function onSbusDataError(error: string) {
            if (banner.closing || error === "未连接，无法发送数据")
                return;
            banner.complaint = error;
            banner.complaintAt = Date.now();
            if (banner.lost && banner.complaintAt - banner.lostAt < banner.togetherMs)
                banner.reason = error;
        }
        function onConnectionChanged(connected: bool) {
            if (connected) {
                banner.lostAt = 0;
            } else if (banner.wasConnected && !banner.closing) {
                banner.lose();
            }
            banner.wasConnected = connected;
        }
    }
}
