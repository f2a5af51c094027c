import QtQuick
import "../controls"
import "../forms"
import "../../style"

// Page 2: the camera's functions. The pod reports only tracking and focus of these; the other
// switches show what was sent last.
DrawerPage {
    id: page

    readonly property string version: drawerActions.hasBackend ? cMain.versionno : ""

    objectName: "settingsPage"

    Section {
        caption: Texts.switchesSection

        SwitchRow {
            id: pointtrackrow
            objectName: "pointtrackrow"
            label: Texts.pointTrack
            on: drawerActions.hasBackend && cMain.isTracking
            tip: Texts.tipPointTrack
            // On, it only changes what a click on the video means.
            open: () => cMain.isTracking = true
            close: () => {
                cMain.isTracking = false;
                cMain.pointtrackstop();
            }
        }
        SwitchRow {
            id: manualfocusrow
            objectName: "manualfocusrow"
            label: Texts.manualFocus
            on: drawerActions.hasBackend && cMain.isManualFocus
            tip: Texts.tipManualFocus
            open: () => cMain.manualFocusOpen()
            close: () => cMain.manualFocusClose()
            onSwitched: on => cMain.isManualFocus = on
        }
        SwitchRow {
            id: osdshowrow
            objectName: "osdshowrow"
            label: "OSD"
            on: root.isOSDShow
            tip: Texts.tipOsd
            open: () => cMain.osdOpen()
            close: () => cMain.osdClose()
            onSwitched: on => root.isOSDShow = on
        }
        SwitchRow {
            id: targetcheckrow
            objectName: "targetcheckrow"
            label: Texts.targetCheck
            on: root.isTargetCheck
            tip: Texts.tipTargetCheck
            open: () => cMain.targetCheckOpen()
            close: () => cMain.targetCheckClose()
            onSwitched: on => root.isTargetCheck = on
        }
        SwitchRow {
            id: trackautozoomrow
            objectName: "trackautozoomrow"
            label: Texts.trackAutoZoom
            on: root.isTrackAutoZoom
            tip: Texts.tipTrackAutoZoom
            open: () => cMain.trackAutoZoomOpen()
            close: () => cMain.trackAutoZoomClose()
            onSwitched: on => root.isTrackAutoZoom = on
        }
        SwitchRow {
            id: continuousdistancerow
            objectName: "continuousdistancerow"
            visible: Models.hasLaser(page.version)
            label: Texts.continuousDistance
            on: root.isContinuousDistance
            tip: Texts.tipContinuousDistance
            open: () => cMain.continuousDistanceOpen()
            close: () => cMain.continuousDistanceClose()
            onSwitched: on => root.isContinuousDistance = on
        }
        SwitchRow {
            id: clearfrogrow
            objectName: "clearfrogrow"
            label: Texts.clearFrog
            on: root.isClearFrog
            tip: Texts.tipClearFrog
            open: () => cMain.clearFrogOpen()
            close: () => cMain.clearFrogClose()
            onSwitched: on => root.isClearFrog = on
        }
        SwitchRow {
            id: electroniczoomrow
            objectName: "electroniczoomrow"
            label: Texts.electronicZoom
            on: root.isElectronicZoom
            tip: Texts.tipElectronicZoom
            open: () => cMain.electronicZoomOpen()
            close: () => cMain.electronicZoomClose()
            onSwitched: on => root.isElectronicZoom = on
        }
        SwitchRow {
            id: laserlightrow
            objectName: "laserlightrow"
            visible: Models.hasFillLight(page.version)
            label: Texts.laserLight
            on: root.isLaserLight
            tip: Texts.tipLaserLight
            open: () => cMain.laserLightOpen()
            close: () => cMain.laserLightClose()
            onSwitched: on => root.isLaserLight = on
        }
    }
    Section {
        caption: Texts.choicesSection

        FormRow {
            id: followframesizerow
            objectName: "followframesizerow"
            label: Texts.frameSize
            labelWidth: Theme.drawerWideLabelWidth
            DrawerChoice {
                objectName: "followframesizecombo"
                choice: root.frameSizeIndex
                model: Texts.frameSizes
                tip: Texts.tipFrameSize
                onChosen: index => {
                    if (drawerActions.perform(() => cMain.setFrameSize(index)))
                        root.frameSizeIndex = index;
                }
            }
        }
        ZoomRow {
            id: kjgrow
            objectName: "kjgrow"
            label: Texts.visibleZoom
            buttonName: "kjgzoomtobutton"
            choice: root.kjgZoomToIndex
            factors: Models.visibleZoomList(page.version)
            tip: Texts.tipVisibleZoom
            zoomTo: factor => cMain.setKjgZoomTo(factor)
            onZoomed: index => root.kjgZoomToIndex = index
        }
        ZoomRow {
            id: rcxrow
            objectName: "rcxrow"
            visible: Models.hasThermal(page.version)
            label: Texts.thermalZoom
            buttonName: "rcxzoomtobutton"
            choice: root.rcxZoomToIndex
            factors: Models.thermalZoomList(page.version)
            tip: Texts.tipThermalZoom
            zoomTo: factor => cMain.setRcxZoomTo(factor)
            onZoomed: index => root.rcxZoomToIndex = index
        }
    }
}
