pragma Singleton
import QtQuick

// What the operator typed, checked before anything is sent.
QtObject {
    readonly property int largestPort: 65535
    readonly property int largestBaudRate: 4000000

    function isIpAddress(text: string): bool {
        const parts = text.split(".");
        return parts.length === 4 && parts.every(part => {
            const digits = part.trim();
            return /^\d+$/.test(digits) && parseInt(digits) >= 0 && parseInt(digits) <= 255;
        });
    }

    // The four numbers of an address that passed isIpAddress().
    function addressBytes(text: string): var {
        return text.split(".").map(part => parseInt(part.trim()));
    }

    // The whole number in `text`, NaN when there is none or it lies outside the bounds.
    function integerIn(text: string, least: int, most: int): real {
        const value = /^\s*-?\d+\s*$/.test(text) ? parseInt(text) : NaN;
        return value >= least && value <= most ? value : NaN;
    }
}
