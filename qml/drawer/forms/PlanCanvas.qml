import QtQuick
import "../../style"

// The drawing of a PlanView.
Canvas {
    id: canvas

    required property var plan

    readonly property int gridStep: 50    // pixels
    readonly property int sectorRadius: 90 // pixels
    readonly property int iconRadius: 9    // pixels

    // Compass degrees to the canvas's angle: clockwise from the right.
    function compass(degrees: real): real {
        return (degrees - 90) * Math.PI / 180;
    }

    function drawGrid(context: var) {
        const origin = Qt.point(width / 2 % gridStep, height / 2 % gridStep);
        context.strokeStyle = Theme.mapGrid;
        context.lineWidth = 1;
        context.beginPath();
        for (let x = origin.x; x < width; x += gridStep) {
            context.moveTo(Math.round(x) + 0.5, 0);
            context.lineTo(Math.round(x) + 0.5, height);
        }
        for (let y = origin.y; y < height; y += gridStep) {
            context.moveTo(0, Math.round(y) + 0.5);
            context.lineTo(width, Math.round(y) + 0.5);
        }
        context.stroke();
    }

    function drawLine(context: var, from: point, to: point) {
        context.strokeStyle = Theme.mapTarget;
        context.lineWidth = 1;
        context.beginPath();
        context.moveTo(from.x, from.y);
        context.lineTo(to.x, to.y);
        context.stroke();
    }

    function drawSector(context: var, at: point, heading: real, angle: real) {
        context.fillStyle = Theme.mapSector;
        context.beginPath();
        context.moveTo(at.x, at.y);
        context.arc(at.x, at.y, sectorRadius, compass(heading - angle / 2),
                    compass(heading + angle / 2), false);
        context.closePath();
        context.fill();
    }

    function drawPlane(context: var, at: point, heading: real) {
        const corners = [[0, -1.3], [0.9, 1], [0, 0.5], [-0.9, 1]];
        context.save();
        context.translate(at.x, at.y);
        context.rotate(heading * Math.PI / 180);
        context.fillStyle = Theme.mapPlane;
        context.strokeStyle = "white";
        context.lineWidth = 1.5;
        context.beginPath();
        for (const [x, y] of corners)
            context.lineTo(x * iconRadius, y * iconRadius);
        context.closePath();
        context.fill();
        context.stroke();
        context.restore();
    }

    function drawTarget(context: var, at: point) {
        context.strokeStyle = Theme.mapTarget;
        context.lineWidth = 2;
        context.beginPath();
        context.arc(at.x, at.y, iconRadius - 2, 0, 2 * Math.PI, false);
        for (const [x, y] of [[1, 0], [-1, 0], [0, 1], [0, -1]]) {
            context.moveTo(at.x + x * 4, at.y + y * 4);
            context.lineTo(at.x + x * (iconRadius + 3), at.y + y * (iconRadius + 3));
        }
        context.stroke();
    }

    renderTarget: Canvas.Image
    onPaint: {
        const context = getContext("2d");
        context.clearRect(0, 0, width, height);
        drawGrid(context);
        const data = plan.mapData;
        if (!data)
            return;
        const plane = plan.toView(plan.planeLatitude, plan.planeLongitude);
        const target = plan.toView(plan.targetLatitude, plan.targetLongitude);
        if (plan.targetKnown && plan.planeKnown)
            drawLine(context, plane, target);
        drawSector(context, plane, data.sectorHeading, data.sectorAngle);
        drawPlane(context, plane, data.airplaneHeading);
        if (plan.targetKnown)
            drawTarget(context, target);
    }
}
