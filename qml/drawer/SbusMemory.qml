import QtQuick

// Whether the channel map that the backend holds is this pod's. It keeps the last map when the link
// drops, and the next link may lead to another pod.
QtObject {
    id: memory

    property bool isRead: false
    // The pod's whole map, or nothing before it was read.
    readonly property var channels: isRead ? Array.from(cMain.sbusChannels) : []

    property Connections backend: Connections {
        target: drawerActions.hasBackend ? cMain : null
        function onSbusPitchIndexChanged() {
            memory.isRead = true;
        }
        function onConnectionChanged(connected: bool) {
            if (!connected)
                memory.isRead = false;
        }
    }
}
