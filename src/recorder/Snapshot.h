#pragma once

#include "klv/UasDatalink.h"

#include <QDateTime>
#include <QImage>
#include <QLatin1StringView>

#include <optional>

namespace recording {

/// By the endings of their files, which stand for them in the settings.
inline constexpr QLatin1StringView kPng("png"); ///< every pixel as it is
inline constexpr QLatin1StringView kJpeg("jpg");

/// Writes the picture into the folder, which is made where it is missing, with time and geometry as
/// Exif and XMP. Blocks as long as the disk does.
struct Snapshot
{
    QImage picture;
    QDateTime time;
    std::optional<klv::UasDatalinkSet> geometry = {};
    QString format = kPng;

    /// The path of the new file; or an empty one, and `error` says why.
    QString writeInto(const QString &folder, QString &error) const;
};

} // namespace recording
