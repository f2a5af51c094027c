import QtQuick

// The edges and corners by which the frameless window is resized.
Item {
    id: resizeHandles

    readonly property int thickness: 5
    readonly property int cornerSize: 10

    component Handle: MouseArea {
        required property int edges
        hoverEnabled: true
        onPressed: mainWindow.startSystemResize(edges)
    }

    Handle {
        edges: Qt.LeftEdge
        cursorShape: Qt.SizeHorCursor
        width: resizeHandles.thickness
        height: parent.height
    }
    Handle {
        edges: Qt.RightEdge
        cursorShape: Qt.SizeHorCursor
        x: parent.width - width
        width: resizeHandles.thickness
        height: parent.height
    }
    Handle {
        edges: Qt.TopEdge
        cursorShape: Qt.SizeVerCursor
        width: parent.width
        height: resizeHandles.thickness
    }
    Handle {
        edges: Qt.BottomEdge
        cursorShape: Qt.SizeVerCursor
        y: parent.height - height
        width: parent.width
        height: resizeHandles.thickness
    }
    Handle {
        edges: Qt.TopEdge | Qt.LeftEdge
        cursorShape: Qt.SizeFDiagCursor
        width: resizeHandles.cornerSize
        height: resizeHandles.thickness
    }
    Handle {
        edges: Qt.TopEdge | Qt.RightEdge
        cursorShape: Qt.SizeBDiagCursor
        x: parent.width - width
        width: resizeHandles.cornerSize
        height: resizeHandles.thickness
    }
    Handle {
        edges: Qt.BottomEdge | Qt.LeftEdge
        cursorShape: Qt.SizeBDiagCursor
        y: parent.height - height
        width: resizeHandles.cornerSize
        height: resizeHandles.thickness
    }
    Handle {
        edges: Qt.BottomEdge | Qt.RightEdge
        cursorShape: Qt.SizeFDiagCursor
        x: parent.width - width
        y: parent.height - height
        width: resizeHandles.cornerSize
        height: resizeHandles.thickness
    }
}
