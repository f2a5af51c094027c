import QtQuick
import QtQuick.Layouts
import ".."
import "../controls"
import "../forms"
import "../../style"
import "../../window"

// Page 1: the gimbal.
DrawerPage {
    id: page

    required property DrawerActions actions
    required property StoredSettings settings
    required property SentChoices sent

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
                onClicked: page.actions.box.ask(Texts.rebootNotice, () => {
                    if (page.actions.perform(() => cMain.gimbalSetReboot()))
                        page.actions.report("rebootSent", "green");
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
                    mainWindow.giveFocusBack();
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
                    mainWindow.giveFocusBack();
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
                    mainWindow.giveFocusBack();
                }
            }
            DrawerButton {
                objectName: "uprightButton"
                Layout.fillWidth: true
                Layout.preferredWidth: 1
                text: Texts.upright
                tip: Texts.tipUpright
                onClicked: page.actions.box.ask(Texts.uprightNotice,
                    () => page.actions.perform(() => cMain.modeUpward()))
            }
            DrawerButton {
                objectName: "invertedButton"
                Layout.fillWidth: true
                Layout.preferredWidth: 1
                text: Texts.inverted
                tip: Texts.tipInverted
                onClicked: page.actions.box.ask(Texts.invertedNotice,
                    () => page.actions.perform(() => cMain.modeDownward()))
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
                value: page.actions.hasBackend ? cMain.moveSpeed : 0
                onReleased: value => page.actions.perform(() => cMain.moveSpeed = value)
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
    PoseForm {
        actions: page.actions
    }
    Section {
        caption: Texts.optionsSection

        FormRow {
            label: Texts.protocol
            DrawerChoice {
                objectName: "comboboxprotocoltype"
                choice: page.sent.protocolIndex
                model: ["EE01", "EE03"]
                tip: Texts.tipProtocol
                onChosen: index => {
                    if (page.actions.perform(() => cMain.setProtocl(index)))
                        page.sent.protocolIndex = index;
                }
            }
        }
        FormRow {
            label: Texts.frequency
            DrawerChoice {
                objectName: "comboboxfrequency"
                choice: page.sent.frequencyIndex
                model: ["25 Hz", "50 Hz", "10 Hz", "5 Hz", "1 Hz"]
                tip: Texts.tipFrequency
                onChosen: index => {
                    if (page.actions.perform(() => cMain.setFrequency(index)))
                        page.sent.frequencyIndex = index;
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
                    page.settings.store(page.settings.general, "languageIndex", index);
                    mainWindow.oldLanguageIndex = index;
                }
            }
        }
    }
}
