import QtQuick
import VideoRenderer
import "../style"

// Where pictures and frames go, stage by stage, since the console was started; read while it is shown.
Rectangle {
    id: panel

    required property VideoRenderer video

    readonly property int readEveryMs: 250
    readonly property int padding: 2 * Theme.gap

    property var picture: video.statistics()
    property var link: cMain.linkStatistics()

    function read() {
        picture = video.statistics();
        link = cMain.linkStatistics();
        rates.take({bytes: picture.receivedBytes, received: picture.received, decoded: picture.decoded,
                    presented: picture.presented, dropped: picture.dropped, bytesIn: link.bytesIn,
                    bytesOut: link.bytesOut});
        agePlot.add(video.pictureOld ? video.pictureAge : picture.ageMs);
    }

    function counted(name: string): string {
        return picture[name] + "  (" + rates.perSecond(name).toFixed(1) + " /s)";
    }

    function stream(): string {
        return picture.codec === "" ? "-" : [Texts.transports[picture.transport], picture.codec,
            picture.size.width + "×" + picture.size.height].join(", ");
    }

    // What came or went over the link, both ways alike.
    function traffic(frames: real, bytes: real, name: string): string {
        return frames + "  " + (bytes / 1000).toFixed(1) + " kB  ("
            + (rates.perSecond(name) / 1000).toFixed(2) + " kB/s)";
    }

    readonly property var rows: [
        [Texts.statStream, stream()],
        [Texts.bitRate, (rates.perSecond("bytes") * 8 / 1e6).toFixed(2) + " Mbit/s"],
        [Texts.statReceived, counted("received")],
        [Texts.statDecoded, counted("decoded")],
        [Texts.statShown, counted("presented")],
        [Texts.statReplaced, counted("dropped")],
        [Texts.statDamaged, String(picture.damaged)],
        [Texts.statLosses, String(picture.losses)],
        [Texts.statTimes, [picture.decodeMs, picture.convertMs, picture.paintMs]
            .map(ms => ms.toFixed(1)).join(" / ") + " ms"],
        [Texts.statLinkIn, traffic(link.framesIn, link.bytesIn, "bytesIn")],
        [Texts.statLinkOut, traffic(link.framesOut, link.bytesOut, "bytesOut")],
        [Texts.statAge, picture.ageMs.toFixed(0) + " ms"]
    ]

    height: column.height + 2 * padding
    color: Theme.linkGround
    radius: Theme.radius

    Column {
        id: column
        x: panel.padding
        y: panel.padding
        width: panel.width - 2 * x
        spacing: 2

        Repeater {
            model: panel.rows.length

            Row {
                id: row
                required property int index
                Text {
                    width: 92
                    color: Theme.caption
                    elide: Text.ElideRight
                    font.pixelSize: Theme.headUpFontSize
                    text: panel.rows[row.index][0]
                }
                Text {
                    objectName: "statistic" + row.index
                    color: Theme.value
                    font.pixelSize: Theme.headUpFontSize
                    text: panel.rows[row.index][1]
                }
            }
        }
        AgePlot {
            id: agePlot
            width: parent.width
            height: 44
        }
    }

    Rates {
        id: rates
    }
    Timer {
        interval: panel.readEveryMs
        repeat: true
        running: true
        triggeredOnStart: true
        onTriggered: panel.read()
    }
}
