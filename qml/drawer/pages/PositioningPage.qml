import QtQuick
import QtQuick.Layouts
import ".."
import "../controls"
import "../forms"
import "../../style"

// Page 5: trims of the gimbal's direction and a plan view of aircraft, sensor and target.
DrawerPage {
    id: page

    required property DrawerActions actions

    objectName: "positioningPage"

    Section {
        caption: Texts.trimSection

        RowLayout {
            Layout.fillWidth: true

            Item {
                Layout.fillWidth: true
            }
            TrimPad {
                actions: page.actions
                caption: Texts.fineTrim
                set: 1
                trimSize: 0
            }
            Item {
                Layout.fillWidth: true
            }
            TrimPad {
                actions: page.actions
                caption: Texts.coarseTrim
                set: 2
                trimSize: 1
            }
            Item {
                Layout.fillWidth: true
            }
        }
    }
    PlanSection {
        actions: page.actions
    }
}
