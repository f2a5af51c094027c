import QtQuick
import VideoRenderer
import "../style"

// What pod, control link and video do at this moment, in a line over the video.
Rectangle {
    id: headUp

    required property VideoRenderer video
    // Where the line may stand, in pixels.
    required property real room

    readonly property int readEveryMs: 500
    readonly property bool narrow: room < 700

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

    function clockText(ms: real): string {
        const seconds = Math.max(0, Math.floor(ms / 1000));
        return Math.floor(seconds / 60) + ":" + String(seconds % 60).padStart(2, "0");
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
            objectName: "headUpMode"
            caption: Texts.mode
            value: Texts.workModes[cMain.workMode] ?? cMain.workMode
            old: mainWindow.podStateOld
        }
        HeadUpItem {
            objectName: "headUpZoom"
            caption: Texts.zoom
            value: cMain.zoom.toFixed(1) + "×"
            old: mainWindow.podStateOld
        }
        HeadUpItem {
            objectName: "headUpLaser"
            caption: Texts.laserRange
            captionNeeded: true
            value: cMain.laserdistance > 0 ? cMain.laserdistance.toFixed(1) + " m" : "- m"
            old: mainWindow.podStateOld
        }
        HeadUpItem {
            objectName: "headUpTracking"
            captionNeeded: true
            caption: Texts.tracking
            value: cMain.tracking ? Texts.trackingHeld
                                  : cMain.isTracking ? Texts.trackingAwaits : Texts.off
            old: mainWindow.podStateOld
        }
        HeadUpItem {
            objectName: "headUpRecording"
            captionNeeded: true
            caption: Texts.podRecording
            value: headUp.recordingSince > 0
                   ? headUp.clockText(headUp.now - headUp.recordingSince) : Texts.off
            color: headUp.recordingSince > 0 ? Theme.recording : Theme.value
            old: mainWindow.podStateOld
        }
        HeadUpItem {
            objectName: "headUpLink"
            caption: Texts.link
            value: headUp.linkText()
            old: mainWindow.podStateOld
        }
        HeadUpItem {
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
        interval: headUp.readEveryMs
        repeat: true
        running: headUp.visible
        triggeredOnStart: true
        onTriggered: headUp.read()
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
