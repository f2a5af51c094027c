#pragma once

#include "klv/UasDatalink.h"

#include <QDateTime>
#include <QImage>

#include <optional>

namespace recording {

/// Writes the picture as PNG into the folder, which is made where it is missing, with time and
/// geometry as XMP. Blocks as long as the disk does.
struct Snapshot
{
    QImage picture;
    QDateTime time;
    std::optional<klv::UasDatalinkSet> geometry;

    /// The path of the new file; or an empty one, and `error` says why.
    QString writeInto(const QString &folder, QString &error) const;
};

} // namespace recording
