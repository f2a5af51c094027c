#pragma once

#include <QString>

class Bootloader;

namespace faults {

/// The lines that the fault port understands while podsim is the bootloader.
QString execute(Bootloader &bootloader, const QString &line);

} // namespace faults
