import QtQuick
import "../controls"
import "../../style"

// "null" and the SBUS channels; -1 shows that none is known. A value of the pod beyond the channels
// is shown as its number.
DrawerChoice {
    property int channel: -1
    property int channelCount: 16

    choice: channel
    displayText: channel < 0 ? Texts.notChosen : channel < count ? currentText : channel
    model: {
        const names = ["null"];
        for (let number = 1; number <= channelCount; ++number)
            names.push("CH" + number);
        return names;
    }
    tip: Texts.tipSbusChannel
}
