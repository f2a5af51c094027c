#include "LatencyStrip.h"

#include <QPainter>

#include <algorithm>
#include <array>

namespace latency_strip {
namespace {

constexpr int kCells = 64;
constexpr int kTimeBits = 40;
constexpr int kChecksumShift = 8;
constexpr quint64 kPattern = 0xB4;
constexpr quint64 kTimeMask = (quint64(1) << kTimeBits) - 1;
constexpr int kLeastContrast = 60; // of 255, between the darkest and the brightest cell

quint64 checksum(quint64 time)
{
    quint64 sum = 0x5A;
    for (int shift = 0; shift < kTimeBits; shift += 8)
        sum = (sum * 31 + ((time >> unsigned(shift)) & 0xFF)) & 0xFF;
    return sum;
}

quint64 code(quint64 time)
{
    quint64 cells = kPattern;
    cells = (cells << kTimeBits) | time;
    cells = (cells << kChecksumShift) | checksum(time);
    return (cells << 8U) | (~kPattern & 0xFF);
}

int grayAround(const QImage &image, int x, int y, int reach)
{
    int sum = 0;
    int count = 0;
    for (int dy = -reach; dy <= reach; ++dy) {
        for (int dx = -reach; dx <= reach; ++dx) {
            if (image.valid(x + dx, y + dy)) {
                sum += qGray(image.pixel(x + dx, y + dy));
                ++count;
            }
        }
    }
    return count ? sum / count : 0;
}

} // namespace

void draw(QImage &picture, qint64 epochMs)
{
    const quint64 cells = code(quint64(epochMs) & kTimeMask);
    const int height = std::max(picture.height() / kHeightShare, 4);
    QPainter painter(&picture);
    for (int i = 0; i < kCells; ++i) {
        const int left = picture.width() * i / kCells;
        const int right = picture.width() * (i + 1) / kCells;
        const bool white = ((cells >> unsigned(kCells - 1 - i)) & 1U) != 0;
        painter.fillRect(left, 0, right - left, height, white ? Qt::white : Qt::black);
    }
}

std::optional<qint64> read(const QImage &image, const QRect &area, qint64 nowMs)
{
    if (area.width() < 2 * kCells || area.height() < 2 * kHeightShare)
        return std::nullopt;
    const double cellWidth = double(area.width()) / kCells;
    const int reach = int(cellWidth / 6);
    const int y = area.top() + area.height() / kHeightShare / 2;
    std::array<int, kCells> gray{};
    for (int i = 0; i < kCells; ++i) {
        const int x = area.left() + int((i + 0.5) * cellWidth);
        gray[std::size_t(i)] = grayAround(image, x, y, reach);
    }
    const auto [darkest, brightest] = std::ranges::minmax(gray);
    if (brightest - darkest < kLeastContrast)
        return std::nullopt;
    quint64 cells = 0;
    for (const int value : gray)
        cells = (cells << 1U) | (value > (darkest + brightest) / 2 ? 1U : 0U);
    const quint64 time = (cells >> 16U) & kTimeMask;
    if (cells != code(time))
        return std::nullopt;
    return qint64((quint64(nowMs) & ~kTimeMask) | time);
}

} // namespace latency_strip
