import QtQuick
import "../style"

// "null" and the SBUS channels. A value of the pod beyond them is shown as its number.
DrawerChoice {
    property int channel: 0
    property int channelCount: 16

    choice: channel
    displayText: channel < count ? currentText : channel
    model: {
        const names = ["null"];
        for (let number = 1; number <= channelCount; ++number)
            names.push("CH" + number);
        return names;
    }
    tip: Texts.tipSbusChannel
}
