import QtQuick
import "../controls"
import "../forms"
import "../../style"

// Page 3: which SBUS channel does what. The pod's map has 24 entries; thirteen have a meaning here,
// the others go back as they came. A map that was never read is not written.
DrawerPage {
    id: page

    readonly property int channelCount: 16
    readonly property int namedEntries: Texts.sbusLabels.length

    // The map with the operator's changes; empty before it was read.
    property var map: sbusMemory.channels
    property bool edited: false
    property bool awaiting: false

    function takeOver() {
        map = sbusMemory.channels;
        edited = false;
    }

    function query() {
        awaiting = drawerActions.perform(() => cMain.querySbusData());
    }

    function choose(entry: int, channel: int) {
        const changed = map.slice();
        changed[entry] = channel;
        map = changed;
        edited = true;
    }

    function send() {
        if (!sbusMemory.isRead) {
            query();
            if (awaiting)
                customDialog.show(Texts.sbusQueryFirst);
            return;
        }
        if (drawerActions.perform(() => cMain.setSbus(map))) {
            sbusMemory.wrote(map);
            edited = false;
            customDialog.show(Texts.sbusSet);
        }
    }

    objectName: "sbussettingPage"

    Connections {
        target: drawerActions.hasBackend ? cMain : null
        function onSbusPitchIndexChanged() {
            page.takeOver();
            page.awaiting = false;
            drawerActions.report("sbusReadDone", "green");
        }
        function onSbusDataError(error: string) {
            if (!page.awaiting || drawerActions.running)
                return;
            page.awaiting = false;
            customDialog.show(error);
        }
    }

    Section {
        caption: Texts.sbusSection

        Repeater {
            model: page.namedEntries

            FormRow {
                id: row
                required property int index
                objectName: "sbusRow" + index
                label: Texts.sbusLabels[index]
                labelWidth: Theme.drawerWideLabelWidth

                SbusChannelChoice {
                    objectName: "sbusChoice" + row.index
                    Accessible.name: row.label
                    enabled: sbusMemory.isRead
                    channel: page.map[row.index] ?? -1
                    channelCount: page.channelCount
                    onChosen: index => page.choose(row.index, index)
                }
            }
        }
        FormRow {
            label: Texts.sbusOthers
            labelWidth: Theme.drawerWideLabelWidth

            DrawerField {
                objectName: "sbusOthers"
                activeFocusOnTab: false
                readOnly: true
                text: page.map.slice(page.namedEntries).join(" ")
                placeholderText: "-"
                tip: Texts.tipSbusOthers
            }
        }
        ButtonRow {
            Text {
                objectName: "sbusState"
                color: page.edited || !sbusMemory.isRead ? Theme.drawerWarning : Theme.drawerMuted
                font.pixelSize: 12
                text: {
                    if (!sbusMemory.isRead)
                        return Texts.sbusUnread;
                    if (page.edited)
                        return Texts.sbusEdited;
                    return sbusMemory.isWritten ? Texts.sbusWritten : Texts.sbusRead;
                }
            }
            DrawerButton {
                objectName: "sbusQueryButton"
                text: Texts.query
                tip: Texts.tipSbusQuery
                onClicked: page.query()
            }
            DrawerButton {
                objectName: "sbusSetButton"
                primary: true
                text: Texts.set
                tip: Texts.tipSbusSet
                onClicked: page.send()
            }
        }
    }
}
