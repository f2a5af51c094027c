#pragma once

#include <QtGlobal>

/// The moments at which the bootloader answers, in the order of an upgrade.
enum class BootMoment : quint8 {
    NewBoot,      ///< rebooted: "NEWBOOT"
    Phrase,       ///< unlocked
    Put,          ///< 'C', send the header
    Header,       ///< ACK of the header
    Ready,        ///< 'C', flash erased, send the data
    Block,        ///< ACK of a data block
    FirstEot,     ///< NAK
    SecondEot,    ///< ACK
    FinalRequest, ///< 'C', send the closing header
    NullHeader,   ///< ACK of the closing header
    Success,      ///< the last word
};
