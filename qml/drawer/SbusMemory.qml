import QtQuick

// The channel map of this pod, as it was read or written last. The backend keeps the last one when
// the link drops, and the next link may lead to another pod.
QtObject {
    id: memory

    required property DrawerActions actions

    property bool isRead: false
    // Written since it was read: the pod has not confirmed it.
    property bool isWritten: false
    // The whole map, or nothing before it was read.
    property var channels: []

    function wrote(map: var) {
        channels = map;
        isWritten = true;
    }

    property Connections backend: Connections {
        target: memory.actions.hasBackend ? cMain : null
        function onSbusPitchIndexChanged() {
            memory.channels = Array.from(cMain.sbusChannels);
            memory.isRead = true;
            memory.isWritten = false;
        }
        function onConnectionChanged(connected: bool) {
            if (connected)
                return;
            memory.channels = [];
            memory.isRead = false;
            memory.isWritten = false;
        }
    }
}
