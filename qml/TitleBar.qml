import QtQuick
import "style"
import "window"

// The frameless window's own title bar: moves the window, and reports its three buttons.
Rectangle {
    id: titleBar

    property string title: "Application"
    // True while the window is maximised. The button flips it at once, the window corrects it.
    property bool isMaxed: false

    signal closeClicked()
    signal minimizeClicked()
    signal maximizeClicked()
    signal normalClicked()

    readonly property int buttonsWidth: 90

    color: Theme.titleBar
    border.width: 0
    border.color: Theme.titleBorder

    MouseArea {
        objectName: "titleMoveArea"
        anchors.fill: parent
        anchors.rightMargin: titleBar.buttonsWidth
        acceptedButtons: Qt.LeftButton
        // When the last press came, in ms. A second press at once is half a double click, which a
        // window manager that moves the window would swallow.
        property real pressedAt: 0
        onPressed: {
            const now = Date.now();
            if (now - pressedAt > Qt.styleHints.mouseDoubleClickInterval)
                mainWindow.startSystemMove();
            pressedAt = now;
        }
        onDoubleClicked: maxButton.clicked()
    }

    Row {
        anchors.fill: parent
        anchors.leftMargin: 5
        anchors.rightMargin: 15
        spacing: 5

        Image {
            id: titleImage
            width: 69
            height: 12
            anchors.verticalCenter: parent.verticalCenter
            source: "qrc:/src/image/title.png"
            fillMode: Image.PreserveAspectFit
        }
        Item {
            width: parent.width - titleImage.width - minButton.width - maxButton.width
                   - closeButton.width - 4 * parent.spacing
            height: 1
        }
        TitleButton {
            id: minButton
            objectName: "minButton"
            tipBeside: minButton
            tip: Texts.minimize
            onClicked: titleBar.minimizeClicked()

            TitleIcon {
                id: iconContainer1
                source: "qrc:/src/image/min.png"
            }
        }
        TitleButton {
            id: maxButton
            objectName: "maxButton"
            tipBeside: minButton
            tip: titleBar.isMaxed ? Texts.restore : Texts.maximize
            onClicked: {
                const wasMaxed = titleBar.isMaxed;
                titleBar.isMaxed = !wasMaxed;
                if (wasMaxed)
                    titleBar.normalClicked();
                else
                    titleBar.maximizeClicked();
            }

            TitleIcon {
                id: iconContainer3
                source: titleBar.isMaxed ? "qrc:/src/image/restore.png" : "qrc:/src/image/max.png"
            }
        }
        TitleButton {
            id: closeButton
            objectName: "closeButton"
            tipBeside: minButton
            hoverColor: Theme.closeHovered
            tip: Texts.close
            onClicked: titleBar.closeClicked()

            TitleIcon {
                id: iconContainer2
                source: "qrc:/src/image/close.png"
            }
        }
    }
}
