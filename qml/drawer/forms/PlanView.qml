import QtQuick
import "../controls"
import "../../style"

// A plan seen from above, north up, drawn without map tiles: the aircraft with its heading, the
// sector that the sensor sees, the target, a grid and a scale. The scale doubles with each zoom
// level, 156543 m per pixel over the equator at level 0. Positions are drawn as they come; 0, 0
// means that the pod reports none, and the view says so.
//
// It keeps a point in its middle (the target, the aircraft) until it is dragged; the wheel asks for
// another level.
Rectangle {
    id: plan

    // What cMain.getMapData() gave last; null before.
    property var mapData: null
    property int level: 16
    signal levelWanted(int level)

    readonly property int onTarget: 0
    readonly property int onPlane: 1
    readonly property int free: 2
    property int centre: onTarget

    readonly property real targetLatitude: mapData ? mapData.defaultLat : 0
    readonly property real targetLongitude: mapData ? mapData.defaultLon : 0
    readonly property real planeLatitude: mapData ? mapData.sharedLat : 0
    readonly property real planeLongitude: mapData ? mapData.sharedLon : 0
    readonly property bool targetKnown: targetLatitude !== 0 || targetLongitude !== 0
    readonly property bool planeKnown: planeLatitude !== 0 || planeLongitude !== 0

    // Metres over ground from the aircraft to the target; NaN unless both are known.
    readonly property real distance: targetKnown && planeKnown
        ? groundDistance(planeLatitude, planeLongitude, targetLatitude, targetLongitude) : NaN

    readonly property real earthRadius: 6371008.8 // metres
    readonly property real metresPerDegree: earthRadius * Math.PI / 180
    readonly property real metresPerPixel: 156543.03 * cosine(centreLatitude) / Math.pow(2, level)
    property real centreLatitude: 0
    property real centreLongitude: 0

    function cosine(degrees: real): real {
        return Math.cos(degrees * Math.PI / 180);
    }

    function groundDistance(latitude1: real, longitude1: real, latitude2: real, longitude2: real): real {
        const half = degrees => Math.sin(degrees * Math.PI / 360);
        const a = Math.pow(half(latitude2 - latitude1), 2)
            + cosine(latitude1) * cosine(latitude2) * Math.pow(half(longitude2 - longitude1), 2);
        return 2 * earthRadius * Math.asin(Math.min(1, Math.sqrt(a)));
    }

    function toView(latitude: real, longitude: real): point {
        const perDegree = metresPerDegree / metresPerPixel;
        return Qt.point(width / 2 + (longitude - centreLongitude) * cosine(centreLatitude) * perDegree,
                        height / 2 - (latitude - centreLatitude) * perDegree);
    }

    function follow() {
        // From the data itself: the properties that are bound to it may follow later.
        if (mapData && centre !== free) {
            centreLatitude = centre === onPlane ? mapData.sharedLat : mapData.defaultLat;
            centreLongitude = centre === onPlane ? mapData.sharedLon : mapData.defaultLon;
        }
        canvas.requestPaint();
    }

    // The longest round length (1, 2 or 5 times a power of ten) that fits into `pixels`.
    function scaleLength(pixels: real): real {
        const longest = pixels * metresPerPixel;
        const power = Math.pow(10, Math.floor(Math.log10(longest)));
        return [5, 2, 1].find(step => step * power <= longest) * power;
    }

    color: Theme.mapGround
    clip: true
    border.color: Theme.drawerBorder
    onMapDataChanged: follow()
    onCentreChanged: follow()
    onLevelChanged: canvas.requestPaint()

    PlanCanvas {
        id: canvas
        anchors.fill: parent
        anchors.margins: 1
        plan: plan
    }

    ScaleBar {
        readonly property real metres: plan.scaleLength(120)
        anchors {
            left: parent.left
            bottom: parent.bottom
            margins: 8
        }
        length: metres / plan.metresPerPixel
        text: metres >= 1000 ? metres / 1000 + " km" : metres + " m"
    }
    Text {
        anchors {
            left: parent.left
            right: parent.right
            top: parent.top
            margins: 8
        }
        objectName: "planNotice"
        color: Theme.drawerWarning
        font.pixelSize: 12
        text: {
            if (!plan.mapData)
                return Texts.mapStopped;
            const lines = plan.targetKnown ? "" : Texts.targetUnknown + "\n";
            return plan.planeKnown ? lines : lines + Texts.planeUnknown;
        }
        wrapMode: Text.Wrap
    }

    DragHandler {
        property point last
        target: null
        onActiveChanged: last = Qt.point(0, 0)
        onTranslationChanged: {
            const perPixel = plan.metresPerPixel / plan.metresPerDegree;
            plan.centre = plan.free;
            plan.centreLatitude += (translation.y - last.y) * perPixel;
            plan.centreLongitude -= (translation.x - last.x) * perPixel / plan.cosine(plan.centreLatitude);
            last = Qt.point(translation.x, translation.y);
            canvas.requestPaint();
        }
    }
    WheelHandler {
        onWheel: event => plan.levelWanted(
            Math.max(3, Math.min(20, plan.level + (event.angleDelta.y > 0 ? 1 : -1))))
    }
}
