import QtQuick
import QtQuick.Controls
import "../style"

// The state of the control link and the way to the drawer.
Rectangle {
    id: podSettings

    signal settingsClicked()

    width: 100
    height: 40
    color: Theme.shade
    radius: Theme.radius

    MouseArea {
        anchors.fill: parent
        acceptedButtons: Qt.AllButtons
        propagateComposedEvents: false
        onWheel: wheel => wheel.accepted = true
    }

    Row {
        id: contentRow
        anchors.right: parent.right
        anchors.rightMargin: 8
        anchors.verticalCenter: parent.verticalCenter
        spacing: 8
        z: 2

        Label {
            id: controlconnectstate
            objectName: "controlconnectstate"
            width: 80
            height: 25
            horizontalAlignment: Text.AlignHCenter
            verticalAlignment: Text.AlignVCenter
            font.pixelSize: 12
            color: cMain.statusStale ? Theme.stale : Theme.linkState
            // Dark enough for the text over any picture. The row is a little wider than the panel.
            background: Rectangle {
                color: Theme.stateShade
                radius: Theme.radius
            }
            text: mainWindow.gimbalConnected ? Texts.connected : Texts.disconnected

            HoverHandler {
                id: stateHover
            }
            Tip {
                edge: Qt.BottomEdge
                shown: stateHover.hovered
                text: cMain.statusStale ? Texts.stale : controlconnectstate.text
            }
        }
        Image {
            id: settingsImage
            objectName: "settingsImage"
            width: 25
            height: 25
            source: "qrc:/src/image/settings.png"
            sourceSize.width: width
            sourceSize.height: height
            fillMode: Image.PreserveAspectFit

            PressArea {
                tip: Texts.settings
                tipEdge: Qt.BottomEdge
                onClicked: podSettings.settingsClicked()
            }
        }
    }
}
