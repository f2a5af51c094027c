import QtQuick
import QtQuick.Layouts
import VideoRenderer
import "../style"

// The window's lowest line: the video's state, and for two seconds whatever went wrong or came of
// something that the operator did.
Rectangle {
    id: statusLine

    required property VideoRenderer video
    readonly property alias text: statusText.text
    // What it says in Chinese, or the same as the text.
    property string told: ""

    // The video's state has changed under a report and is to be told when that has had its time.
    property bool videoStateDue: false

    // A text that depends on the language comes as a function, so that the line follows it; another
    // is translated.
    function show(text: var, color: color) {
        reportTimer.stop();
        const isBound = typeof text === "function";
        told = isBound ? "" : text;
        statusText.text = Qt.binding(isBound ? text : () => Texts.translated(text));
        statusText.color = color;
    }

    // What came of something that the operator did: a text of Texts, by its name, and what follows
    // it, a function where that depends on the language. The video's state has to wait for it: while the
    // stream is being reconnected it changes all the time.
    function report(name: string, color: color, detail = "") {
        errorTimer.stop();
        show(() => Texts[name] + textOf(detail), color);
        videoStateDue = false;
        reportTimer.restart();
    }

    // The same, of something that leaves the video's state as it is: said once for several clicks, and
    // the state is told again after it.
    function reportForAWhile(name: string, color: color, detail = "") {
        if (reportTimer.running && text === Texts[name] + textOf(detail))
            return;
        report(name, color, detail);
        videoStateDue = true;
    }

    function textOf(detail: var): string {
        return typeof detail === "function" ? detail() : detail;
    }

    function showError(text: var) {
        show(text, Theme.statusError);
        errorTimer.restart();
    }

    function showVideoState() {
        videoStateDue = reportTimer.running;
        if (!videoStateDue)
            show("状态: " + video.status, video.playing ? Theme.statusGood : Theme.statusIdle);
    }

    height: 20
    color: Theme.statusLine
    radius: 2

    RowLayout {
        anchors.fill: parent
        anchors.margins: 3
        spacing: 5

        Text {
            id: statusText
            objectName: "statusText"
            Accessible.role: Accessible.AlertMessage
            Accessible.name: text
            Layout.fillWidth: true
            font.pixelSize: 10
            verticalAlignment: Text.AlignVCenter
            elide: Text.ElideRight
        }
    }

    Timer {
        id: errorTimer
        interval: 2000
        onTriggered: statusLine.showVideoState()
    }
    Timer {
        id: reportTimer
        interval: 2000
        onTriggered: if (statusLine.videoStateDue) statusLine.showVideoState()
    }
}
