#pragma once

#include <QByteArray>
#include <QByteArrayView>

#include <optional>

/// How raw frames stand on the line to the bootloader: the first byte ('~' or '#') and the last as
/// they are, every byte between as two upper-case hexadecimal characters, high nibble first.
namespace upgrade {

/// Nothing when the raw bytes are too short, begin with neither start or end with '#'.
std::optional<QByteArray> encodeLine(QByteArrayView raw);

/// Nothing when the line is of odd length, breaks a rule of encodeLine or holds any character but
/// 0-9 and A-F between its ends; lower-case digits fail the whole frame.
std::optional<QByteArray> decodeLine(QByteArrayView line);

} // namespace upgrade
