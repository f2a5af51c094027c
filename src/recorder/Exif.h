#pragma once

#include "klv/UasDatalink.h"

#include <QDateTime>
#include <QSize>

namespace recording {

/// Time, size and geometry of a picture as Exif, which is what most programs read of a photo: the
/// bytes of a TIFF file without a picture, for JPEG and PNG alike. What is not known is left out.
QByteArray exifOf(const QDateTime &time, const QSize &size,
                  const std::optional<klv::UasDatalinkSet> &geometry);

} // namespace recording
