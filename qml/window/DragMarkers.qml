import QtQuick

// Shows where a drag was begun and where it is now. Points are the window's.
Item {
    id: dragMarkers

    function begin(point: point) {
        place(imagemovecircle, point);
        follow(point);
        imagemovecircle.visible = true;
        imagemovering.visible = true;
    }

    function follow(point: point) {
        place(imagemovering, point);
    }

    function end() {
        imagemovecircle.visible = false;
        imagemovering.visible = false;
    }

    function place(marker: Item, point: point) {
        const at = dragMarkers.mapFromItem(null, point);
        marker.x = at.x - marker.width / 2;
        marker.y = at.y - marker.height / 2;
    }

    Image {
        id: imagemovecircle
        objectName: "imagemovecircle"
        width: 20
        height: 20
        visible: false
        source: "qrc:/src/image/circle.png"
        sourceSize.width: width
        sourceSize.height: height
    }
    Image {
        id: imagemovering
        objectName: "imagemovering"
        width: 20
        height: 20
        visible: false
        source: "qrc:/src/image/ring.png"
        sourceSize.width: width
        sourceSize.height: height
    }
}
