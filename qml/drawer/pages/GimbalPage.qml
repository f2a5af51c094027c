import QtQuick
import QtQuick.Layouts
import "../controls"
import "../forms"
import "../../style"

// Page 1: the gimbal.
DrawerPage {
    objectName: "cameraPage"

    Section {
        caption: Texts.gimbalSection

        GridLayout {
            Layout.fillWidth: true
            columnSpacing: Theme.drawerSpacing
            columns: 2
            rowSpacing: Theme.drawerSpacing

            DrawerButton {
                objectName: "rebootButton"
                Layout.fillWidth: true
                Layout.preferredWidth: 1
                text: Texts.reboot
                tip: Texts.tipReboot
                onClicked: customDialog.ask(Texts.rebootNotice, () => {
                    if (drawerActions.perform(() => cMain.gimbalSetReboot()))
                        drawerActions.report("rebootSent", "green");
                })
            }
            DrawerButton {
                objectName: "informationButton"
                Layout.fillWidth: true
                Layout.preferredWidth: 1
                active: mainWindow.isPodInfoValuesShow
                text: Texts.information
                tip: Texts.tipInformation
                onClicked: {
                    mainWindow.isPodInfoValuesShow = !mainWindow.isPodInfoValuesShow;
                    drawerActions.giveFocusBack();
                }
            }
            DrawerButton {
                objectName: "headUpButton"
                Layout.fillWidth: true
                Layout.preferredWidth: 1
                active: mainWindow.isHeadUpShown
                text: Texts.headUpLine
                tip: Texts.tipHeadUp
                onClicked: {
                    mainWindow.showHeadUp(!mainWindow.isHeadUpShown);
                    drawerActions.giveFocusBack();
                }
            }
            DrawerButton {
                objectName: "statisticsButton"
                Layout.fillWidth: true
                Layout.preferredWidth: 1
                active: mainWindow.isStatisticsShown
                text: Texts.statistics
                tip: Texts.tipStatistics
                onClicked: {
                    mainWindow.isStatisticsShown = !mainWindow.isStatisticsShown;
                    drawerActions.giveFocusBack();
                }
            }
            DrawerButton {
                objectName: "uprightButton"
                Layout.fillWidth: true
                Layout.preferredWidth: 1
                text: Texts.upright
                tip: Texts.tipUpright
                onClicked: customDialog.ask(Texts.uprightNotice,
                    () => drawerActions.perform(() => cMain.modeUpward()))
            }
            DrawerButton {
                objectName: "invertedButton"
                Layout.fillWidth: true
                Layout.preferredWidth: 1
                text: Texts.inverted
                tip: Texts.tipInverted
                onClicked: customDialog.ask(Texts.invertedNotice,
                    () => drawerActions.perform(() => cMain.modeDownward()))
            }
        }
        FormRow {
            label: Texts.moveSpeed

            DrawerSlider {
                id: podsportspeedslider
                objectName: "podsportspeedslider"
                Layout.fillWidth: true
                from: 0
                stepSize: 1
                tip: Texts.tipMoveSpeed
                to: 255
                value: drawerActions.hasBackend ? cMain.moveSpeed : 0
                onReleased: value => drawerActions.perform(() => cMain.moveSpeed = value)
            }
            Text {
                Layout.preferredWidth: 28
                color: Theme.drawerText
                font.pixelSize: Theme.drawerFontSize
                horizontalAlignment: Text.AlignRight
                text: podsportspeedslider.value
            }
        }
    }
    PoseForm {}
    Section {
        caption: Texts.optionsSection

        FormRow {
            label: Texts.protocol
            DrawerChoice {
                objectName: "comboboxprotocoltype"
                choice: root.protocolIndex
                model: ["EE01", "EE03"]
                tip: Texts.tipProtocol
                onChosen: index => {
                    if (drawerActions.perform(() => cMain.setProtocl(index)))
                        root.protocolIndex = index;
                }
            }
        }
        FormRow {
            label: Texts.frequency
            DrawerChoice {
                objectName: "comboboxfrequency"
                choice: root.frequencyIndex
                model: ["25 Hz", "50 Hz", "10 Hz", "5 Hz", "1 Hz"]
                tip: Texts.tipFrequency
                onChosen: index => {
                    if (drawerActions.perform(() => cMain.setFrequency(index)))
                        root.frequencyIndex = index;
                }
            }
        }
        FormRow {
            label: Texts.language
            DrawerChoice {
                objectName: "comboboxlanguage"
                choice: mainWindow.oldLanguageIndex
                model: Texts.languages
                tip: Texts.tipLanguage
                onChosen: index => {
                    storedSettings.store(storedSettings.general, "languageIndex", index);
                    mainWindow.oldLanguageIndex = index;
                }
            }
        }
    }
}
