import QtQuick
import ".."
import "../controls"
import "../forms"
import "../../style"

// Page 3: which SBUS channel does what. The pod's map has 24 entries; thirteen have a meaning here,
// the others go back as they came. A map that was never read is not written.
DrawerPage {
    id: page

    required property DrawerActions actions
    required property SbusMemory memory

    readonly property int channelCount: 16
    readonly property int namedEntries: Texts.sbusLabels.length

    // The map with the operator's changes; empty before it was read.
    property var map: page.memory.channels
    property bool edited: false
    property bool awaiting: false

    function takeOver() {
        map = page.memory.channels;
        edited = false;
    }

    function query() {
        awaiting = page.actions.perform(() => cMain.querySbusData());
    }

    function choose(entry: int, channel: int) {
        const changed = map.slice();
        changed[entry] = channel;
        map = changed;
        edited = true;
    }

    function send() {
        if (!page.memory.isRead) {
            query();
            if (awaiting)
                page.actions.box.show(Texts.sbusQueryFirst);
            return;
        }
        if (page.actions.perform(() => cMain.setSbus(map))) {
            page.memory.wrote(map);
            edited = false;
            page.actions.box.show(Texts.sbusSet);
        }
    }

    objectName: "sbussettingPage"

    Connections {
        target: page.actions.hasBackend ? cMain : null
        function onSbusPitchIndexChanged() {
            page.takeOver();
            page.awaiting = false;
            page.actions.report("sbusReadDone", "green");
        }
        function onSbusDataError(error: string) {
            if (!page.awaiting || page.actions.running)
                return;
            page.awaiting = false;
            page.actions.box.show(error);
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
                    enabled: page.memory.isRead
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
                hint: "-"
                tip: Texts.tipSbusOthers
            }
        }
        ButtonRow {
            Text {
                objectName: "sbusState"
                color: page.edited || !page.memory.isRead ? Theme.drawerWarning : Theme.drawerMuted
                font.pixelSize: 12
                text: {
                    if (!page.memory.isRead)
                        return Texts.sbusUnread;
                    if (page.edited)
                        return Texts.sbusEdited;
                    return page.memory.isWritten ? Texts.sbusWritten : Texts.sbusRead;
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
