import QtQuick
import "../style"

// Opens the link that a form asks for. Outlives the form's page: opening serves events, and the
// operator may turn the page before it is done.
Timer {
    id: opener

    required property DrawerActions actions

    signal opened()

    property string type
    property string target
    property int value
    property string connectedText
    property string failedText
    // What open() was given for the last link that came about.
    property var last: null

    function open(type: string, target: string, value: int, connectedText: string, failedText: string) {
        opener.type = type;
        opener.target = target;
        opener.value = value;
        opener.connectedText = connectedText;
        opener.failedText = failedText;
        start();
    }

    function openAgain() {
        if (running || last === null)
            return;
        const isTcp = last[0] === "TCP";
        actions.report(isTcp ? "tcpConnecting" : "serialConnecting", "orange",
                             last[1] + (isTcp ? ":" : " ") + last[2]);
        open(...last);
    }

    interval: 50 // opening blocks: the line that says so is painted first
    onTriggered: {
        let isOpen = false;
        // Another opening may begin, with its own texts, before this one has ended.
        const asked = [type, target, value, connectedText, failedText];
        const [done, failed] = [connectedText, failedText];
        actions.performClosing(() => {
            isOpen = type === "TCP" ? cMain.connectTCP(target, value)
                                    : cMain.connectSerial(target, value);
        }, false);
        if (!actions.hasBackend)
            return;
        if (isOpen) {
            last = asked;
            actions.report(done, "green");
            opened();
        } else {
            actions.report(failed, "red");
            actions.box.show(Texts[failed] + (actions.refusal ? "\n" + actions.refusal : ""));
        }
    }
}
