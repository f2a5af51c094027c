import QtQuick
import ".."
import "../forms"

// Page 6: firmware from the upgrade server, or from a file over the serial port.
DrawerPage {
    id: page

    required property DrawerActions actions
    required property OnlineUpgradeRun run

    objectName: "firmwareupdatePage"

    OnlineUpgradeForm {
        actions: page.actions
        run: page.run
    }
    LocalUpgradeForm {
        actions: page.actions
        run: page.run
    }
}
