import QtQuick
import QtQuick.Controls
import "../style"

// The state of the control link and the way to the drawer.
Rectangle {
    id: podSettings

    // What the tips leave uncovered besides the panel.
    property Item tipsBeside: podSettings
    readonly property real groundX: x + ground.x

    signal settingsClicked()

    width: 100
    height: 40
    color: Theme.shade
    radius: Theme.radius

    // The row is wider than the panel: one ground for both, dark over any picture and the drawer.
    Rectangle {
        id: ground
        anchors.right: parent.right
        width: contentRow.width + 2 * contentRow.anchors.rightMargin
        height: parent.height
        z: -1
        color: Theme.linkGround
        radius: Theme.radius
    }
    MouseArea {
        anchors.fill: ground
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
            leftPadding: 4
            rightPadding: 4
            font.pixelSize: 12
            fontSizeMode: Text.HorizontalFit
            minimumPixelSize: 10
            color: cMain.statusStale ? Theme.stale : Theme.linkState
            // Green reads best on white, the stale state's orange on the dark ground.
            background: Rectangle {
                color: cMain.statusStale ? "transparent" : Theme.linkChip
                radius: Theme.radius
            }
            text: mainWindow.gimbalConnected ? Texts.connected : Texts.disconnected

            HoverHandler {
                id: stateHover
            }
            Tip {
                beside: podSettings.tipsBeside
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
                tipBeside: podSettings.tipsBeside
                onClicked: podSettings.settingsClicked()
            }
        }
    }
}
