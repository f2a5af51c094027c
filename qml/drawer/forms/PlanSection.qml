import QtQuick
import QtQuick.Layouts
import ".."
import "../controls"
import "../../style"

// The plan view with its fields and buttons. "Start" reads the backend's map data five times a
// second until "Stop", or until the page is left.
Section {
    id: section

    required property DrawerActions actions

    property bool live: false

    function refresh() {
        if (section.actions.hasBackend)
            plan.mapData = cMain.getMapData();
    }

    function metres(value: real): string {
        if (isNaN(value))
            return "-";
        return value < 10000 ? value.toFixed(1) + " m" : (value / 1000).toFixed(1) + " km";
    }

    function degrees(value: real): string {
        return plan.mapData && plan.targetKnown ? value.toFixed(6) : "-";
    }

    objectName: "planSection"
    caption: Texts.mapSection

    Timer {
        objectName: "mapTimer"
        interval: 200
        repeat: true
        running: section.live && section.visible
        triggeredOnStart: true
        onTriggered: section.refresh()
    }

    PlanView {
        id: plan
        objectName: "planView"
        Layout.fillWidth: true
        Layout.preferredHeight: 250
        level: Number(zoomLevelChoice.currentText)
        onLevelWanted: level => zoomLevelChoice.choice = level - zoomLevelChoice.lowest
    }
    GridLayout {
        Layout.fillWidth: true
        columnSpacing: Theme.drawerSpacing
        columns: 4
        rowSpacing: Theme.drawerSpacing

        component Caption: Text {
            color: Theme.drawerText
            font.pixelSize: Theme.drawerFontSize
        }
        component Reading: DrawerField {
            Layout.preferredWidth: 1
            activeFocusOnTab: false
            readOnly: true
        }

        Caption {
            text: Texts.latitude
        }
        Reading {
            objectName: "latitudeField"
            text: section.degrees(plan.targetLatitude)
            tip: Texts.tipLatitude
        }
        Caption {
            text: Texts.longitude
        }
        Reading {
            objectName: "longitudeField"
            text: section.degrees(plan.targetLongitude)
            tip: Texts.tipLongitude
        }
        Caption {
            text: Texts.zoomLevel
        }
        DrawerChoice {
            id: zoomLevelChoice
            readonly property int lowest: 3
            readonly property int highest: 20
            objectName: "zoomLevelChoice"
            Layout.preferredWidth: 1
            choice: 16 - lowest
            model: Array.from({length: highest - lowest + 1}, (_, i) => String(lowest + i))
            tip: Texts.tipZoomLevel
            onChosen: index => choice = index
        }
        Caption {
            text: Texts.distance
        }
        Reading {
            objectName: "distanceField"
            text: section.metres(plan.distance)
            tip: Texts.tipDistance
        }
    }
    ButtonRow {
        DrawerButton {
            objectName: "mapStartButton"
            active: section.live
            text: section.live ? Texts.stop : Texts.start
            tip: Texts.tipMapStart
            onClicked: {
                section.live = !section.live;
                mainWindow.giveFocusBack();
            }
        }
        DrawerButton {
            objectName: "targetCenterButton"
            active: plan.centre === plan.onTarget
            text: Texts.targetCenter
            tip: Texts.tipTargetCenter
            onClicked: {
                plan.centre = plan.onTarget;
                mainWindow.giveFocusBack();
            }
        }
        DrawerButton {
            objectName: "planeCenterButton"
            active: plan.centre === plan.onPlane
            text: Texts.planeCenter
            tip: Texts.tipPlaneCenter
            onClicked: {
                plan.centre = plan.onPlane;
                mainWindow.giveFocusBack();
            }
        }
    }
}
