#pragma once

#include <QImage>
#include <QRect>

#include <optional>

/// A row of black and white cells along a picture's top edge that carries a time, so that a
/// program can tell how old a picture on a screen is. Survives compression, scaling and a little
/// blur.
///
/// 64 cells: 8 of a fixed pattern, 40 bits of milliseconds since the epoch (the low ones, highest
/// first), 8 bits of checksum, 8 of the fixed pattern inverted.
namespace latency_strip {

/// The strip's share of the picture's height is 1 in this.
inline constexpr int kHeightShare = 40;

void draw(QImage &picture, qint64 epochMs);

/// Reads the strip of the picture that fills `area` of `image`. `nowMs` tells the bits that the
/// strip leaves out. Nothing when there is no strip, or a damaged one.
std::optional<qint64> read(const QImage &image, const QRect &area, qint64 nowMs);

} // namespace latency_strip
