import QtQuick
import "../forms"

// Page 6: firmware from the upgrade server, or from a file over the serial port.
DrawerPage {
    objectName: "firmwareupdatePage"

    OnlineUpgradeForm {}
    LocalUpgradeForm {}
}
