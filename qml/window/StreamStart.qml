import QtQuick
import VideoRenderer
import "../style"

// When the stream is opened: once the window has been seen, and anew for an address that was typed.
Item {
    id: streamStart

    required property VideoRenderer video
    required property StatusLine line
    property bool started: false
    // Stopping the old stream is no news while a new address is being applied.
    property bool applying: false

    signal urlGiven(string url)

    function apply(url: string) {
        console.log("手动应用新 URL:", video.masked(url));
        applying = true;
        urlGiven(url);
        line.show("URL已更新，重新连接中...", Theme.statusWarning);
        reconnectTimer.restart();
    }

    // Opening a stream can take seconds; the operator shall see the window meanwhile.
    Connections {
        target: mainWindow
        enabled: !streamStart.started
        function onFrameSwapped() { streamStarter.start(); }
    }
    // Not from within the swap: play() serves events while it waits, and a frame may be due.
    Timer {
        id: streamStarter
        interval: 0
        onTriggered: {
            streamStart.started = true;
            streamStart.video.play();
        }
    }
    Timer {
        id: reconnectTimer
        interval: 100
        onTriggered: {
            console.log("手动重新连接...");
            // The item goes on playing what it has; only a stopped one opens the new address. Not in
            // apply(): stop() serves events, one of which may destroy who called that.
            if (streamStart.video.playing)
                streamStart.video.stop();
            streamStart.video.play();
            streamStart.applying = false;
            streamStart.line.showVideoState();
        }
    }
}
