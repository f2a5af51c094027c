#include "Panorama.h"

#include <QPainter>
#include <QPainterPath>
#include <QRandomGenerator>

#include <algorithm>
#include <array>
#include <cmath>

namespace panorama {
namespace {

constexpr int kWidth = 360 * kPixelsPerDegree;
constexpr int kHeight = (kTopDegrees - kBottomDegrees) * kPixelsPerDegree;
constexpr quint32 kSeed = 20240607; // the same country at every start

double xOf(double heading) { return heading * kPixelsPerDegree; }

double yOf(double elevation) { return (kTopDegrees - elevation) * kPixelsPerDegree; }

/// Draws at the heading and again a turn further, so that nothing is cut at the seam.
template<typename Draw>
void onBothSides(QPainter &painter, Draw draw)
{
    for (const int turn : {-1, 0, 1}) {
        painter.save();
        painter.translate(turn * kWidth, 0);
        draw(painter);
        painter.restore();
    }
}

void drawSky(QPainter &painter, QRandomGenerator &random)
{
    QLinearGradient sky(0, 0, 0, yOf(0));
    sky.setColorAt(0, QColor(34, 88, 160));
    sky.setColorAt(1, QColor(186, 214, 236));
    painter.fillRect(QRectF(0, 0, kWidth, yOf(0)), sky);

    painter.setPen(Qt::NoPen);
    QRadialGradient sun(xOf(40), yOf(22), xOf(5));
    sun.setColorAt(0, QColor(255, 252, 225));
    sun.setColorAt(0.35, QColor(255, 244, 190, 220));
    sun.setColorAt(1, QColor(255, 244, 190, 0));
    painter.setBrush(sun);
    painter.drawEllipse(QPointF(xOf(40), yOf(22)), xOf(5), xOf(5));

    for (int i = 0; i < 46; ++i) {
        const QPointF centre(xOf(random.bounded(360.0)), yOf(5 + random.bounded(42.0)));
        for (int puff = 0; puff < 7; ++puff) {
            const double width = xOf(1.5 + random.bounded(4.0));
            const QPointF at =
                centre + QPointF(xOf(random.bounded(9.0) - 4.5), xOf(random.bounded(1.6) - 0.8));
            painter.setBrush(QColor(255, 255, 255, 70 + random.bounded(60)));
            onBothSides(painter, [&](QPainter &p) { p.drawEllipse(at, width, width * 0.32); });
        }
    }
}

void drawHills(QPainter &painter, QRandomGenerator &random)
{
    struct Range
    {
        double height = 0;
        QColor colour;
    };
    const std::array<Range, 3> ranges = {
        {{9, QColor(126, 148, 172)}, {5.5, QColor(94, 122, 126)}, {2.6, QColor(74, 104, 74)}}};
    for (const Range &range : ranges) {
        std::array<double, 6> phase{};
        for (double &p : phase)
            p = random.bounded(2 * M_PI);
        QPainterPath outline(QPointF(0, yOf(-4)));
        for (int x = 0; x <= kWidth; x += 6) {
            double level = 0;
            for (std::size_t n = 0; n < phase.size(); ++n) {
                const auto waves = double(3 + 4 * n);
                level += std::sin(2 * M_PI * waves * x / kWidth + phase[n]) / double(n + 1);
            }
            outline.lineTo(x, yOf(range.height * (0.45 + 0.25 * level)));
        }
        outline.lineTo(kWidth, yOf(-4));
        painter.setPen(Qt::NoPen);
        painter.setBrush(range.colour);
        painter.drawPath(outline);
    }
}

void drawFields(QPainter &painter, QRandomGenerator &random)
{
    QLinearGradient ground(0, yOf(0), 0, yOf(kBottomDegrees));
    ground.setColorAt(0, QColor(112, 138, 96));
    ground.setColorAt(1, QColor(92, 110, 66));
    painter.fillRect(QRectF(0, yOf(-1), kWidth, kHeight), ground);

    const std::array<QColor, 7> crops = {
        QColor(138, 154, 74), QColor(188, 172, 92),  QColor(98, 132, 62), QColor(150, 116, 74),
        QColor(82, 116, 70),  QColor(204, 190, 120), QColor(118, 146, 88)};
    painter.setPen(QPen(QColor(70, 84, 52), 2));
    double elevation = -2;
    while (elevation > kBottomDegrees) {
        const double depth = std::min(1.2 + 0.13 * -elevation, 11.0); // nearer fields look larger
        double heading = 0;
        while (heading < 360) {
            const double width = std::min(depth * (1.2 + random.bounded(1.6)), 360 - heading);
            if (random.bounded(5) != 0) {
                painter.setBrush(crops[std::size_t(random.bounded(int(crops.size())))]);
                painter.drawRect(QRectF(xOf(heading), yOf(elevation), xOf(width), xOf(depth)));
            }
            heading += width;
        }
        elevation -= depth;
    }
}

void drawWaterAndRoads(QPainter &painter)
{
    const auto band = [&](double from, double amplitude, double waves, const QPen &pen) {
        QPainterPath path;
        for (int x = -40; x <= kWidth + 40; x += 10) {
            const double swing = std::sin(2 * M_PI * waves * x / kWidth);
            const QPointF at(x, yOf(from + amplitude * swing));
            x == -40 ? path.moveTo(at) : path.lineTo(at);
        }
        painter.setBrush(Qt::NoBrush);
        painter.setPen(pen);
        painter.drawPath(path);
    };
    band(-26, 9, 3, QPen(QColor(58, 104, 148), 4.2 * kPixelsPerDegree));
    band(-26, 9, 3, QPen(QColor(84, 136, 176), 2.6 * kPixelsPerDegree));
    band(-12, 4, 2, QPen(QColor(96, 92, 88), 1.3 * kPixelsPerDegree));
    band(-12, 4, 2, QPen(QColor(226, 222, 206), 2, Qt::DashLine));
    band(-55, 14, 4, QPen(QColor(104, 98, 92), 2.4 * kPixelsPerDegree));
    band(-55, 14, 4, QPen(QColor(232, 228, 212), 3, Qt::DashLine));
}

void drawHouse(QPainter &painter, const QPointF &foot, double size, const QColor &wall)
{
    painter.setPen(Qt::NoPen);
    painter.setBrush(wall);
    painter.drawRect(QRectF(foot.x(), foot.y() - size * 0.6, size, size * 0.6));
    painter.setBrush(QColor(150, 62, 48));
    painter.drawPolygon(QPolygonF({{foot.x() - size * 0.12, foot.y() - size * 0.6},
                                   {foot.x() + size * 0.5, foot.y() - size * 1.05},
                                   {foot.x() + size * 1.12, foot.y() - size * 0.6}}));
    painter.setBrush(QColor(52, 62, 76));
    painter.drawRect(
        QRectF(foot.x() + size * 0.15, foot.y() - size * 0.42, size * 0.2, size * 0.2));
    painter.drawRect(
        QRectF(foot.x() + size * 0.6, foot.y() - size * 0.42, size * 0.2, size * 0.42));
}

void drawTower(QPainter &painter, const QPointF &foot, double width, double height)
{
    painter.setPen(QPen(QColor(60, 66, 76), 1));
    painter.setBrush(QColor(148, 156, 168));
    painter.drawRect(QRectF(foot.x(), foot.y() - height, width, height));
    painter.setPen(Qt::NoPen);
    painter.setBrush(QColor(232, 220, 150));
    const double step = width / 4;
    const int floors = int(std::ceil((height - 2 * step) / (step * 1.4)));
    for (int floor = 0; floor < floors; ++floor) {
        const double y = foot.y() - height + step * (1 + 1.4 * floor);
        for (int column = 0; column < 3; ++column)
            painter.drawRect(QRectF(foot.x() + step * (0.6 + column), y, step * 0.5, step * 0.7));
    }
}

void drawBuildings(QPainter &painter, QRandomGenerator &random)
{
    for (int i = 0; i < 150; ++i) {
        const double elevation = -3 - random.bounded(60.0);
        const double size = (0.5 + 0.05 * -elevation) * kPixelsPerDegree;
        const QPointF foot(xOf(random.bounded(360.0)), yOf(elevation));
        const QColor wall = QColor::fromHsv(random.bounded(60), 30 + random.bounded(60), 220);
        onBothSides(painter, [&](QPainter &p) { drawHouse(p, foot, size, wall); });
    }
    for (const double city : {75.0, 195.0, 300.0}) {
        for (int i = 0; i < 18; ++i) {
            const QPointF foot(xOf(city + random.bounded(22.0) - 11),
                               yOf(-1.5 - random.bounded(2.0)));
            drawTower(painter, foot, xOf(0.7 + random.bounded(1.1)),
                      xOf(1.5 + random.bounded(5.5)));
        }
    }
    for (int i = 0; i < 520; ++i) {
        const double elevation = -2 - random.bounded(75.0);
        const double radius = (0.14 + 0.016 * -elevation) * kPixelsPerDegree;
        const QPointF at(xOf(random.bounded(360.0)), yOf(elevation));
        painter.setPen(Qt::NoPen);
        painter.setBrush(QColor(38 + random.bounded(26), 82 + random.bounded(34), 44));
        painter.drawEllipse(at, radius, radius * 0.85);
    }
}

void drawCompass(QPainter &painter)
{
    const std::array<const char *, 8> names = {"N", "NE", "E", "SE", "S", "SW", "W", "NW"};
    for (int heading = 0; heading < 360; heading += 5) {
        const bool named = heading % 45 == 0;
        const double height = xOf(named ? 1.6 : heading % 10 == 0 ? 1.0 : 0.5);
        onBothSides(painter, [&](QPainter &p) {
            p.setPen(QPen(QColor(255, 255, 255, 210), named ? 4 : 2));
            p.drawLine(QPointF(xOf(heading), yOf(0) - height), QPointF(xOf(heading), yOf(0)));
            QFont font(QStringLiteral("DejaVu Sans"));
            font.setPixelSize(int(xOf(named ? 2.2 : 1.1)));
            font.setBold(named);
            p.setFont(font);
            const QString text = named ? QString::fromLatin1(names[std::size_t(heading / 45)])
                                       : QString::number(heading);
            if (named || heading % 10 == 0)
                p.drawText(QRectF(xOf(heading) - 100, yOf(0) - height - xOf(3), 200, xOf(2.8)),
                           Qt::AlignHCenter | Qt::AlignBottom, text);
        });
    }
}

QRgb thermalColour(Kind kind, int heat)
{
    if (kind == Kind::WhiteHot)
        return qRgb(heat, heat, heat);
    if (kind == Kind::BlackHot)
        return qRgb(255 - heat, 255 - heat, 255 - heat);
    const double h = heat / 255.0;
    return qRgb(
        int(255 * std::min(1.0, h * 1.8)), int(255 * std::clamp(h * 2 - 0.7, 0.0, 1.0)),
        int(255 * std::clamp(h < 0.4 ? h * 1.6 : 1.3 - h * 1.7 + (h > 0.8 ? h : 0.0), 0.0, 1.0)));
}

/// Warm where the picture is red and dark where it is sky: not physics, but plainly another sensor.
void makeThermal(QImage &image, Kind kind)
{
    std::array<QRgb, 256> colours{};
    for (int heat = 0; heat < 256; ++heat)
        colours[std::size_t(heat)] = thermalColour(kind, heat);
    for (int y = 0; y < image.height(); ++y) {
        auto *line = reinterpret_cast<QRgb *>(image.scanLine(y));
        for (int x = 0; x < image.width(); ++x) {
            const int heat = (3 * qRed(line[x]) + qGreen(line[x]) - 2 * qBlue(line[x])) / 3 + 40;
            line[x] = colours[std::size_t(std::clamp(heat, 0, 255))];
        }
    }
}

} // namespace

QImage draw(Kind kind)
{
    QRandomGenerator random(kSeed);
    QImage image(kDegreesAcross * kPixelsPerDegree, kHeight, QImage::Format_RGB32);
    {
        QPainter painter(&image);
        painter.setRenderHint(QPainter::Antialiasing);
        painter.setClipRect(0, 0, kWidth, kHeight);
        drawSky(painter, random);
        drawHills(painter, random);
        drawFields(painter, random);
        drawWaterAndRoads(painter);
        drawBuildings(painter, random);
        drawCompass(painter);
    }
    const QImage first = image.copy(0, 0, kDegreesRepeated * kPixelsPerDegree, kHeight);
    QPainter(&image).drawImage(kWidth, 0, first);
    if (kind != Kind::Visible)
        makeThermal(image, kind);
    return image;
}

} // namespace panorama
