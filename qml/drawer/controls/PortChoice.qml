import QtQuick
import ".."
import "../../style"

// The serial ports of this machine, listed anew each time the list is opened. A device path can be
// typed as well: not every port is in the system's list.
DrawerChoice {
    id: ports

    required property DrawerActions actions

    // What to offer before the operator chose.
    property string preset: ""
    readonly property string portName: editText.trim()

    function refresh() {
        if (!actions.hasBackend) {
            console.warn("cMain 未初始化，无法刷新端口");
            return;
        }
        const typed = editText;
        let names = [];
        try {
            names = Array.from(cMain.getAvailablePorts());
        } catch (failure) {
            console.warn("无法获取端口");
        }
        if (names.length > 0)
            console.log("找到", names.length, "个可用端口");
        else
            console.log("无可用端口");
        model = names;
        choice = names.indexOf(typed);
        editText = typed;
    }

    editable: true
    model: []
    tip: Texts.tipSerialPort
    onChosen: index => choice = index
    onAboutToOpen: refresh()
    onAccepted: mainWindow.giveFocusBack()
    Component.onCompleted: editText = preset
}
