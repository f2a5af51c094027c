#pragma once

#include <QString>

/// What the command line asks of the simulated bootloader.
struct BootOptions
{
    QString ptyLink;   ///< symbolic link to the pseudo terminal; empty for none
    QString imagePath; ///< empty: the firmware is checked and forgotten
    int lineBaud = 0;  ///< bits a second, ten for each byte; 0 answers at once
};
