import QtQuick
import FlightRecorder
import "../style"

// While this computer records: that it does and for how long, or that nothing is being written and
// why.
Rectangle {
    id: sign

    required property FlightRecorder recorder
    readonly property bool writing: recorder.state === "Writing"
    readonly property color tint: writing ? Theme.recording : Theme.stale

    visible: recorder.running
    width: row.width + 4 * Theme.gap
    height: row.height + 2 * Theme.gap
    color: Theme.linkGround
    radius: Theme.radius
    border.width: 1
    border.color: tint
    Accessible.role: Accessible.AlertMessage
    // Neither the time nor the size: each change would be announced.
    Accessible.name: Texts.recordsHere + (writing ? "" : ": " + (Texts.recorderStates[recorder.state] ?? ""))

    PointerStop {}
    Row {
        id: row
        anchors.centerIn: parent
        spacing: 2 * Theme.gap

        Rectangle {
            anchors.verticalCenter: parent.verticalCenter
            width: 10
            height: width
            radius: sign.writing ? width / 2 : 0
            color: sign.tint
        }
        Text {
            id: signText
            objectName: "recorderSignText"
            color: Theme.value
            font.pixelSize: Theme.drawerFontSize
            text: Texts.recordsHere + " " + Texts.clock(sign.recorder.seconds) + "  "
                  + (sign.writing ? Texts.megabytes(sign.recorder.bytes)
                                  : Texts.recorderStates[sign.recorder.state] ?? "")
        }
    }
}
