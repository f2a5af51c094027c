import QtQuick
import QtQuick.Layouts
import "../style"

// Page 5: trims of the gimbal's direction and a plan view of aircraft, sensor and target.
DrawerPage {
    objectName: "positioningPage"

    Section {
        caption: Texts.trimSection

        RowLayout {
            Layout.fillWidth: true

            TrimPad {
                Layout.alignment: Qt.AlignHCenter
                caption: Texts.fineTrim
                set: 1
                trimSize: 0
            }
            TrimPad {
                Layout.alignment: Qt.AlignHCenter
                caption: Texts.coarseTrim
                set: 2
                trimSize: 1
            }
        }
    }
    PlanSection {}
}
