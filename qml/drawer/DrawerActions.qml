import QtQuick
import MotionGuard
import "controls"
import "../style"
import "../window"

// The one way from a control to the backend. A call that the backend refuses (it says so while the
// call runs) opens the message box; afterwards the keyboard belongs to the video again.
QtObject {
    id: actions

    required property MessageBox box
    required property MotionGuard guard
    required property StatusLine line

    property bool running: false
    // The link is being closed on purpose, or replaced.
    property bool closing: false
    property string refusal: ""

    readonly property bool hasBackend: typeof cMain !== "undefined" && cMain !== null

    property Connections refusals: Connections {
        target: actions.hasBackend ? cMain : null
        function onSbusDataError(error: string) {
            if (actions.running)
                actions.refusal = error;
        }
    }

    // Runs `action`; true when nothing was refused. Without `loud` a refusal stays unsaid, for the
    // caller to report or to leave.
    function perform(action: var, loud = true): bool {
        if (!hasBackend) {
            line.showError(() => Texts.backendMissing);
            return false;
        }
        refusal = "";
        running = true;
        try {
            action();
        } finally {
            running = false;
        }
        if (refusal !== "" && loud)
            box.show(refusal);
        else
            mainWindow.giveFocusBack();
        return refusal === "";
    }

    // For an action that closes the link: what the link keeps moving ends first, and its end is no loss.
    function performClosing(action: var, loud = true): bool {
        guard.releaseAll();
        closing = true;
        try {
            return perform(action, loud);
        } finally {
            closing = false;
        }
    }

    // As the status line's report().
    function report(name: string, color: string, detail = "") {
        line.report(name, color, detail);
    }
}
