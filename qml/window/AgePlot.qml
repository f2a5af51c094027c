import QtQuick
import "../style"

// The newest ages of a picture on the screen, in ms, the latest at the right; as high as the highest.
Canvas {
    id: plot

    readonly property int kept: 120
    property var ages: []
    readonly property real highest: Math.max(10, ...ages)

    function add(age: real) {
        ages = ages.concat([age]).slice(-kept);
        requestPaint();
    }

    onPaint: {
        const painter = getContext("2d");
        painter.clearRect(0, 0, width, height);
        painter.strokeStyle = Theme.progressForeground;
        painter.lineWidth = 1.5;
        painter.beginPath();
        ages.forEach((age, i) => painter.lineTo(width * (kept - ages.length + i + 1) / kept,
                                                (height - 2) * (1 - age / highest) + 1));
        painter.stroke();
    }

    Text {
        color: Theme.caption
        font.pixelSize: 10
        text: plot.highest.toFixed(0) + " ms"
    }
}
