import QtQuick
import "../style"

// Opens the link that a form asks for. Outlives the form's page: opening serves events, and the
// operator may turn the page before it is done.
Timer {
    id: opener

    property string type
    property string target
    property int value
    property string connectedText
    property string failedText

    function open(type: string, target: string, value: int, connectedText: string, failedText: string) {
        opener.type = type;
        opener.target = target;
        opener.value = value;
        opener.connectedText = connectedText;
        opener.failedText = failedText;
        start();
    }

    interval: 50 // opening blocks: the line that says so is painted first
    onTriggered: {
        let opened = false;
        // Another opening may begin, with its own texts, before this one has ended.
        const [done, failed] = [connectedText, failedText];
        drawerActions.endMotions();
        drawerActions.perform(() => {
            opened = type === "TCP" ? cMain.connectTCP(target, value)
                                    : cMain.connectSerial(target, value);
        }, false);
        if (!drawerActions.hasBackend)
            return;
        if (opened) {
            drawerActions.report(done, "green");
            sendversiontimer.restart();
        } else {
            drawerActions.report(failed, "red");
            customDialog.show(Texts[failed] + (drawerActions.refusal ? "\n" + drawerActions.refusal : ""));
        }
    }
}
