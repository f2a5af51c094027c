import QtQuick
import MotionGuard
import "../style"

// The floating column of buttons at the window's right edge. Each menu entry carries out its
// command and closes its menu.
Rectangle {
    id: podControlsTools

    required property MotionGuard guard
    required property PodActions actions

    readonly property var menus: [hzhMenu, wcMenu, zoomMenu, centerMenu, modeMenu]
    readonly property bool menuOpen: menus.some(menu => menu.opened)

    function closeMenus() {
        for (const menu of menus)
            menu.close();
    }

    width: 60
    height: toolStripColumn.height + 2 * toolStripColumn.anchors.margins
    color: Theme.strip
    radius: Theme.panelRadius

    PointerStop {}

    Column {
        id: toolStripColumn
        anchors.left: parent.left
        anchors.right: parent.right
        anchors.top: parent.top
        anchors.margins: 4
        spacing: 8
        z: 2

        StripButton {
            id: photobutton
            objectName: "photobutton"
            anyMenuOpen: podControlsTools.menuOpen
            icon: "qrc:/src/image/photo.png"
            tip: Texts.photo
            onClicked: podControlsTools.actions.photo()
        }
        StripButton {
            id: recordbutton
            objectName: "recordbutton"
            anyMenuOpen: podControlsTools.menuOpen
            icon: mainWindow.showB7NRecordStatus ? "qrc:/src/image/pause-solid.svg"
                                                 : "qrc:/src/image/record.png"
            tip: mainWindow.showB7NRecordStatus ? Texts.stopRecord : Texts.startRecord
            old: mainWindow.showB7NRecordStatus && mainWindow.podStateOld
            onClicked: podControlsTools.actions.record()
        }
        StripButton {
            id: hzhbutton
            objectName: "hzhbutton"
            anyMenuOpen: podControlsTools.menuOpen
            visible: Models.hasThermal(cMain.versionno)
            icon: "qrc:/src/image/hzh.png"
            tip: Texts.pictureInPicture
            menuOpen: hzhMenu.opened
            onClicked: hzhMenu.open()

            StripMenu {
                id: hzhMenu
                objectName: "hzhMenu"
                height: 170

                entries: MenuEntries {
                    MenuEntry {
                        id: mousekjginrcx
                        objectName: "mousekjginrcx"
                        icon: "qrc:/src/image/hzh0.png"
                        tip: Texts.thermalInVisible
                        lastSent: podControlsTools.actions.lastSent.picture === "thermalInVisible"
                        onTriggered: podControlsTools.run(hzhMenu, () => podControlsTools.actions.showPicture(0))
                    }
                    MenuEntry {
                        id: mousercxincjg
                        objectName: "mousercxincjg"
                        icon: "qrc:/src/image/hzh1.png"
                        tip: Texts.visibleInThermal
                        lastSent: podControlsTools.actions.lastSent.picture === "visibleInThermal"
                        onTriggered: podControlsTools.run(hzhMenu, () => podControlsTools.actions.showPicture(1))
                    }
                    MenuEntry {
                        id: mousekjg
                        objectName: "mousekjg"
                        icon: "qrc:/src/image/hzh2.png"
                        tip: Texts.visibleOnly
                        lastSent: podControlsTools.actions.lastSent.picture === "visibleOnly"
                        onTriggered: podControlsTools.run(hzhMenu, () => podControlsTools.actions.showPicture(2))
                    }
                    MenuEntry {
                        id: mousercx
                        objectName: "mousercx"
                        icon: "qrc:/src/image/hzh3.png"
                        tip: Texts.thermalOnly
                        lastSent: podControlsTools.actions.lastSent.picture === "thermalOnly"
                        onTriggered: podControlsTools.run(hzhMenu, () => podControlsTools.actions.showPicture(3))
                    }
                }
            }
        }
        StripButton {
            id: wcbutton
            objectName: "wcbutton"
            anyMenuOpen: podControlsTools.menuOpen
            visible: Models.hasThermal(cMain.versionno)
            icon: "qrc:/src/image/wc.png"
            tip: Texts.pseudoColour
            menuOpen: wcMenu.opened
            onClicked: wcMenu.open()

            StripMenu {
                id: wcMenu
                objectName: "wcMenu"
                height: 130

                entries: MenuEntries {
                    MenuEntry {
                        id: mousebr
                        objectName: "mousebr"
                        icon: "qrc:/src/image/wc0.png"
                        tip: Texts.whiteHot
                        lastSent: podControlsTools.actions.lastSent.colours === "whiteHot"
                        onTriggered: podControlsTools.run(wcMenu, () => podControlsTools.actions.showColours(0))
                    }
                    MenuEntry {
                        id: mousehr
                        objectName: "mousehr"
                        icon: "qrc:/src/image/wc1.png"
                        tip: Texts.blackHot
                        lastSent: podControlsTools.actions.lastSent.colours === "blackHot"
                        onTriggered: podControlsTools.run(wcMenu, () => podControlsTools.actions.showColours(1))
                    }
                    MenuEntry {
                        id: mousecr
                        objectName: "mousecr"
                        icon: "qrc:/src/image/wc2.png"
                        tip: Texts.colourHot
                        lastSent: podControlsTools.actions.lastSent.colours === "colourHot"
                        onTriggered: podControlsTools.run(wcMenu, () => podControlsTools.actions.showColours(2))
                    }
                }
            }
        }
        StripButton {
            id: zoomButton
            objectName: "zoomButton"
            anyMenuOpen: podControlsTools.menuOpen
            icon: "qrc:/src/image/zoom_bg.png"
            tip: Texts.zoom
            menuOpen: zoomMenu.opened
            onClicked: zoomMenu.open()

            Text {
                objectName: "zoomText"
                anchors.centerIn: parent
                text: cMain.zoomint + "X"
                color: mainWindow.podStateOld ? Theme.stale : "#FFFFFF"
                font.bold: true
                font.pixelSize: 16
            }
            StripMenu {
                id: zoomMenu
                objectName: "zoomMenu"
                height: 85

                entries: MenuEntries {
                    HoldEntry {
                        id: mouseIn
                        objectName: "mouseIn"
                        icon: "qrc:/src/image/zoom_in.png"
                        tip: Texts.zoomIn
                        guard: podControlsTools.guard
                        source: "menu.zoomIn"
                        command: "zoomIn"
                        onTriggered: zoomMenu.close()
                    }
                    HoldEntry {
                        id: mouseOut
                        objectName: "mouseOut"
                        icon: "qrc:/src/image/zoom_out.png"
                        tip: Texts.zoomOut
                        guard: podControlsTools.guard
                        source: "menu.zoomOut"
                        command: "zoomOut"
                        onTriggered: zoomMenu.close()
                    }
                }
            }
        }
        StripButton {
            id: centerbutton
            objectName: "centerbutton"
            anyMenuOpen: podControlsTools.menuOpen
            icon: "qrc:/src/image/one_click_center.png"
            tip: Texts.oneKey
            menuOpen: centerMenu.opened
            onClicked: centerMenu.open()

            StripMenu {
                id: centerMenu
                objectName: "centerMenu"
                height: 85

                entries: MenuEntries {
                    MenuEntry {
                        id: mouse1
                        objectName: "mouse1"
                        icon: "qrc:/src/image/one_click_center.png"
                        tip: Texts.center
                        lastSent: podControlsTools.actions.lastSent.pose === "center"
                        onTriggered: podControlsTools.run(centerMenu, podControlsTools.actions.centre)
                    }
                    MenuEntry {
                        id: mouse2
                        objectName: "mouse2"
                        icon: "qrc:/src/image/one_click_down.png"
                        tip: Texts.down
                        lastSent: podControlsTools.actions.lastSent.pose === "down"
                        onTriggered: podControlsTools.run(centerMenu, podControlsTools.actions.lookDown)
                    }
                }
            }
        }
        StripButton {
            id: gimbalbutton
            objectName: "gimbalbutton"
            anyMenuOpen: podControlsTools.menuOpen
            icon: "qrc:/src/image/mode_button.png"
            tip: Texts.gimbalMode
            menuOpen: modeMenu.opened
            onClicked: modeMenu.open()

            StripMenu {
                id: modeMenu
                objectName: "modeMenu"
                height: 130

                entries: MenuEntries {
                    MenuEntry {
                        id: mousefollow
                        objectName: "mousefollow"
                        icon: "qrc:/src/image/heading_follow.png"
                        tip: Texts.yawFollow
                        lastSent: podControlsTools.actions.lastSent.mode === "yawFollow"
                        onTriggered: podControlsTools.run(modeMenu, podControlsTools.actions.yawFollow)
                    }
                    MenuEntry {
                        id: mouselock
                        objectName: "mouselock"
                        icon: "qrc:/src/image/heading_lock.png"
                        tip: Texts.yawLock
                        lastSent: podControlsTools.actions.lastSent.mode === "yawLock"
                        onTriggered: podControlsTools.run(modeMenu, podControlsTools.actions.yawLock)
                    }
                    MenuEntry {
                        id: mousefpv
                        objectName: "mousefpv"
                        icon: "qrc:/src/image/fpv_mode.png"
                        tip: Texts.fpv
                        lastSent: podControlsTools.actions.lastSent.mode === "fpv"
                        onTriggered: podControlsTools.run(modeMenu, podControlsTools.actions.fpv)
                    }
                }
            }
        }
    }

    function run(menu: var, command: var) {
        command();
        menu.close();
    }
}
