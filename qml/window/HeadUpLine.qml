import QtQuick
import FlightRecorder
import VideoRenderer
import "../style"

// What pod, control link and video do at this moment, in a line over the video.
Rectangle {
    id: headUp

    required property VideoRenderer video
    required property FlightRecorder recorder
    // Where the line may stand, in pixels.
    required property real room

    signal recordHereClicked()

    readonly property int readEveryMs: 500
    readonly property bool narrow: room < 700
    // Whether anything that the line tells can be changing: a console at rest costs nothing.
    readonly property bool live: mainWindow.gimbalConnected || recorder.running || video.playing
                                 || video.pictureOld || recordingSince > 0
    // After the last of it, for what ends a little later.
    readonly property int lastReads: 4
    property int readsLeft: lastReads

    property var link: cMain.linkStatistics()
    property var picture: video.statistics()
    property real recordingSince: 0 // ms of the day's clock, 0 while the pod does not record
    property real now: 0

    function read() {
        now = Date.now();
        link = cMain.linkStatistics();
        picture = video.statistics();
        rates.take({status: link.statusFrames, presented: picture.presented,
                    received: picture.received, damaged: picture.damaged});
    }

    function secondsText(ms: real): string {
        return (ms / 1000).toFixed(1) + " s";
    }

    function linkText(): string {
        if (!mainWindow.gimbalConnected)
            return Texts.disconnected;
        const age = link.statusAgeMs < 0 ? "-" : secondsText(link.statusAgeMs);
        return cMain.connectionType + " " + rates.perSecond("status").toFixed(0) + " Hz " + age;
    }

    function videoText(): string {
        if (picture.size.width <= 0)
            return Texts.noVideo;
        const age = video.pictureOld ? secondsText(video.pictureAge) : picture.ageMs.toFixed(0) + " ms";
        const received = rates.rise("received");
        const loss = received > 0 ? 100 * Math.min(1, rates.rise("damaged") / received) : 0;
        return picture.size.width + "×" + picture.size.height + " "
            + rates.perSecond("presented").toFixed(0) + " fps " + age + " "
            + Texts.lossOf(loss.toFixed(loss < 10 ? 1 : 0) + " %");
    }

    height: items.height + 2 * items.y
    width: items.childrenRect.width + items.x
    color: Theme.linkGround
    radius: Theme.radius
    onVisibleChanged: if (visible) read()

    Flow {
        id: items
        x: 8
        y: 3
        width: headUp.room - x
        spacing: 1

        HeadUpItem {
            narrow: headUp.narrow
            objectName: "headUpMode"
            caption: Texts.mode
            value: Texts.workModes[cMain.workMode] ?? cMain.workMode
            old: mainWindow.podStateOld
        }
        HeadUpItem {
            narrow: headUp.narrow
            objectName: "headUpZoom"
            caption: Texts.zoom
            value: cMain.zoom.toFixed(1) + "×"
            old: mainWindow.podStateOld
        }
        HeadUpItem {
            narrow: headUp.narrow
            objectName: "headUpLaser"
            caption: Texts.laserRange
            captionNeeded: true
            value: cMain.laserdistance > 0 ? cMain.laserdistance.toFixed(1) + " m" : "- m"
            old: mainWindow.podStateOld
        }
        HeadUpItem {
            narrow: headUp.narrow
            objectName: "headUpTracking"
            captionNeeded: true
            caption: Texts.tracking
            value: cMain.tracking ? Texts.trackingHeld
                                  : cMain.isTracking ? Texts.trackingAwaits : Texts.off
            old: mainWindow.podStateOld
        }
        HeadUpItem {
            narrow: headUp.narrow
            objectName: "headUpRecording"
            captionNeeded: true
            caption: Texts.podRecording
            value: headUp.recordingSince > 0
                   ? Texts.clock(Math.max(0, headUp.now - headUp.recordingSince) / 1000)
                   : Texts.off
            color: headUp.recordingSince > 0 ? Theme.recording : Theme.value
            old: mainWindow.podStateOld
        }
        // Also its control.
        Item {
            width: recorderItem.width
            height: recorderItem.height

            HeadUpItem {
                narrow: headUp.narrow
                id: recorderItem
                objectName: "headUpRecorder"
                captionNeeded: true
                caption: Texts.recordsHere
                value: headUp.recorder.running ? Texts.clock(headUp.recorder.seconds) : Texts.off
                color: headUp.recorder.running ? Theme.recording : Theme.value
                old: headUp.recorder.running && headUp.recorder.state !== "Writing"
            }
            PressArea {
                objectName: "headUpRecorderButton"
                tip: headUp.recorder.running ? Texts.stopHere : Texts.startHere
                tipEdge: Qt.BottomEdge
                onClicked: headUp.recordHereClicked()
            }
        }
        HeadUpItem {
            narrow: headUp.narrow
            objectName: "headUpLink"
            caption: Texts.link
            value: headUp.linkText()
            old: mainWindow.podStateOld
        }
        HeadUpItem {
            narrow: headUp.narrow
            objectName: "headUpVideo"
            caption: Texts.video
            value: headUp.videoText()
            old: headUp.video.pictureOld
        }
    }

    Rates {
        id: rates
    }
    Timer {
        objectName: "headUpTimer"
        interval: headUp.readEveryMs
        repeat: true
        running: headUp.visible && (headUp.live || headUp.readsLeft > 0)
        triggeredOnStart: true
        onTriggered: {
            headUp.readsLeft = headUp.live ? headUp.lastReads : headUp.readsLeft - 1;
            headUp.read();
        }
    }
    // Hidden, too: when it began is told only once.
    Connections {
        target: cMain
        function onStatusChanged() {
            if (!cMain.recording)
                headUp.recordingSince = 0;
            else if (headUp.recordingSince === 0)
                headUp.recordingSince = headUp.now = Date.now();
        }
    }
}
