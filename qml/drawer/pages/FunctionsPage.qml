import QtQuick
import ".."
import "../controls"
import "../forms"
import "../../style"

// Page 2: the camera's functions. The pod reports only tracking and focus of these; the other
// switches show what was sent last.
DrawerPage {
    id: page

    required property DrawerActions actions
    required property SentChoices sent

    readonly property string version: page.actions.hasBackend ? cMain.versionno : ""

    objectName: "settingsPage"

    Section {
        caption: Texts.switchesSection

        SwitchRow {
            id: pointtrackrow
            actions: page.actions
            objectName: "pointtrackrow"
            label: Texts.pointTrack
            on: page.actions.hasBackend && cMain.isTracking
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
            actions: page.actions
            objectName: "manualfocusrow"
            label: Texts.manualFocus
            on: page.actions.hasBackend && cMain.isManualFocus
            tip: Texts.tipManualFocus
            open: () => cMain.manualFocusOpen()
            close: () => cMain.manualFocusClose()
            onSwitched: on => cMain.isManualFocus = on
        }
        SwitchRow {
            id: osdshowrow
            actions: page.actions
            objectName: "osdshowrow"
            label: "OSD"
            on: page.sent.isOSDShow
            tip: Texts.tipOsd
            open: () => cMain.osdOpen()
            close: () => cMain.osdClose()
            onSwitched: on => page.sent.isOSDShow = on
        }
        SwitchRow {
            id: targetcheckrow
            actions: page.actions
            objectName: "targetcheckrow"
            label: Texts.targetCheck
            on: page.sent.isTargetCheck
            tip: Texts.tipTargetCheck
            open: () => cMain.targetCheckOpen()
            close: () => cMain.targetCheckClose()
            onSwitched: on => page.sent.isTargetCheck = on
        }
        SwitchRow {
            id: trackautozoomrow
            actions: page.actions
            objectName: "trackautozoomrow"
            label: Texts.trackAutoZoom
            on: page.sent.isTrackAutoZoom
            tip: Texts.tipTrackAutoZoom
            open: () => cMain.trackAutoZoomOpen()
            close: () => cMain.trackAutoZoomClose()
            onSwitched: on => page.sent.isTrackAutoZoom = on
        }
        SwitchRow {
            id: continuousdistancerow
            actions: page.actions
            objectName: "continuousdistancerow"
            visible: Models.hasLaser(page.version)
            label: Texts.continuousDistance
            on: page.sent.isContinuousDistance
            tip: Texts.tipContinuousDistance
            open: () => cMain.continuousDistanceOpen()
            close: () => cMain.continuousDistanceClose()
            onSwitched: on => page.sent.isContinuousDistance = on
        }
        SwitchRow {
            id: clearfrogrow
            actions: page.actions
            objectName: "clearfrogrow"
            label: Texts.clearFrog
            on: page.sent.isClearFrog
            tip: Texts.tipClearFrog
            open: () => cMain.clearFrogOpen()
            close: () => cMain.clearFrogClose()
            onSwitched: on => page.sent.isClearFrog = on
        }
        SwitchRow {
            id: electroniczoomrow
            actions: page.actions
            objectName: "electroniczoomrow"
            label: Texts.electronicZoom
            on: page.sent.isElectronicZoom
            tip: Texts.tipElectronicZoom
            open: () => cMain.electronicZoomOpen()
            close: () => cMain.electronicZoomClose()
            onSwitched: on => page.sent.isElectronicZoom = on
        }
        SwitchRow {
            id: laserlightrow
            actions: page.actions
            objectName: "laserlightrow"
            visible: Models.hasFillLight(page.version)
            label: Texts.laserLight
            on: page.sent.isLaserLight
            tip: Texts.tipLaserLight
            open: () => cMain.laserLightOpen()
            close: () => cMain.laserLightClose()
            onSwitched: on => page.sent.isLaserLight = on
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
                choice: page.sent.frameSizeIndex
                model: Texts.frameSizes
                tip: Texts.tipFrameSize
                onChosen: index => {
                    if (page.actions.perform(() => cMain.setFrameSize(index)))
                        page.sent.frameSizeIndex = index;
                }
            }
        }
        ZoomRow {
            id: kjgrow
            actions: page.actions
            objectName: "kjgrow"
            label: Texts.visibleZoom
            buttonName: "kjgzoomtobutton"
            choice: page.sent.kjgZoomToIndex
            factors: Models.visibleZoomList(page.version)
            tip: Texts.tipVisibleZoom
            zoomTo: factor => cMain.setKjgZoomTo(factor)
            onZoomed: index => page.sent.kjgZoomToIndex = index
        }
        ZoomRow {
            id: rcxrow
            actions: page.actions
            objectName: "rcxrow"
            visible: Models.hasThermal(page.version)
            label: Texts.thermalZoom
            buttonName: "rcxzoomtobutton"
            choice: page.sent.rcxZoomToIndex
            factors: Models.thermalZoomList(page.version)
            tip: Texts.tipThermalZoom
            zoomTo: factor => cMain.setRcxZoomTo(factor)
            onZoomed: index => page.sent.rcxZoomToIndex = index
        }
    }
}
