import QtQuick
import "../style"

// Something the operator should know that is no matter of the moment: it stays until it is clicked
// away, and comes back with another text.
Rectangle {
    id: notice

    property string text: ""
    property bool dismissed: false

    onTextChanged: dismissed = false

    Accessible.role: Accessible.AlertMessage
    Accessible.name: text
    visible: text !== "" && !dismissed
    height: noticeText.implicitHeight + 2 * noticeText.anchors.margins
    color: Theme.linkGround
    radius: Theme.radius
    border.width: 1
    border.color: Theme.stale

    Text {
        id: noticeText
        objectName: "noticeText"
        anchors.left: parent.left
        anchors.right: parent.right
        anchors.top: parent.top
        anchors.margins: 2 * Theme.gap
        color: Theme.value
        font.pixelSize: Theme.drawerFontSize
        text: notice.text
        wrapMode: Text.Wrap
    }
    PressArea {
        tip: Texts.close
        tipEdge: Qt.BottomEdge
        onClicked: notice.dismissed = true
    }
}
