#pragma once

#include <QImage>

/// The landscape around the simulated aircraft, drawn once: equirectangular, kDegreesAcross wide
/// with the heading 0 at its left edge and the first degrees repeated at the right one, so that a
/// view never meets the seam.
namespace panorama {

inline constexpr int kPixelsPerDegree = 14;
inline constexpr int kDegreesRepeated = 70;
inline constexpr int kDegreesAcross = 360 + kDegreesRepeated;
inline constexpr int kTopDegrees = 55;      ///< above the horizon
inline constexpr int kBottomDegrees = -145; ///< below it

enum class Kind : quint8 { Visible, WhiteHot, BlackHot, Iron };

/// RGB32. Takes a moment; thread-safe.
QImage draw(Kind kind);

} // namespace panorama
