#include "SvgChart.h"

#include <algorithm>
#include <array>
#include <cmath>

namespace bench {
namespace {

constexpr double kWidth = 900;
constexpr double kHeight = 320;
constexpr double kLeft = 56;
constexpr double kRight = 12;
constexpr double kTop = 54;
constexpr double kBottom = 40;
constexpr double kPlotWidth = kWidth - kLeft - kRight;
constexpr double kPlotHeight = kHeight - kTop - kBottom;
constexpr std::array kColours = {"#1f77b4", "#2ca02c", "#ff7f0e", "#9467bd", "#8c564b"};

QString colour(std::size_t index) { return QString::fromLatin1(kColours[index % kColours.size()]); }

QString text(double x, double y, const QString &anchor, const QString &words)
{
    return QStringLiteral("<text x=\"%1\" y=\"%2\" text-anchor=\"%3\">%4</text>\n")
        .arg(x, 0, 'f', 1)
        .arg(y, 0, 'f', 1)
        .arg(anchor, words.toHtmlEscaped());
}

QString box(double x, double y, double width, double height, const QString &fill)
{
    return QStringLiteral("<rect x=\"%1\" y=\"%2\" width=\"%3\" height=\"%4\" fill=\"%5\"/>\n")
        .arg(x, 0, 'f', 1)
        .arg(y, 0, 'f', 1)
        .arg(width, 0, 'f', 1)
        .arg(height, 0, 'f', 1)
        .arg(fill);
}

/// The next of 1, 2, 5, 10, 20 ... for about five lines up to `limit`.
double gridStep(double limit)
{
    const double base = std::pow(10, std::floor(std::log10(std::max(limit, 1e-6) / 5)));
    for (const double factor : {1.0, 2.0, 5.0}) {
        if (base * factor * 5 >= limit)
            return base * factor;
    }
    return base * 10;
}

/// Where grid lines stand from zero to `limit`.
std::vector<double> gridValues(double limit)
{
    const double step = gridStep(limit);
    std::vector<double> values;
    for (int line = 0; line * step <= limit; ++line)
        values.push_back(line * step);
    return values;
}

double largest(const std::vector<Series> &series, double (QPointF::*coordinate)() const)
{
    double most = 0;
    for (const Series &one : series) {
        for (const QPointF &point : one.points)
            most = std::max(most, (point.*coordinate)());
    }
    return std::max(most, 1e-6);
}

QString frame(const QString &title, const std::vector<Series> &series, double limit)
{
    QString svg = QStringLiteral("<svg xmlns=\"http://www.w3.org/2000/svg\" viewBox=\"0 0 %1 %2\" "
                                 "font-family=\"sans-serif\" font-size=\"12\">\n")
                      .arg(kWidth)
                      .arg(kHeight);
    svg += box(0, 0, kWidth, kHeight, QStringLiteral("white"));
    svg += text(kLeft, 18, QStringLiteral("start"), title);
    for (std::size_t i = 0; i < series.size(); ++i) {
        const double x = kLeft + 130 * double(i);
        svg += box(x, 28, 10, 10, colour(i));
        svg += text(x + 15, 38, QStringLiteral("start"), series[i].name);
    }
    for (const double value : gridValues(limit)) {
        const double y = kTop + kPlotHeight * (1 - value / limit);
        svg += box(kLeft, y, kPlotWidth, 0.5, QStringLiteral("#bbbbbb"));
        svg += text(kLeft - 6, y + 4, QStringLiteral("end"), QString::number(value));
    }
    return svg;
}

} // namespace

QString barChart(const QString &title, const QStringList &groups, const std::vector<Series> &series)
{
    const double limit = largest(series, &QPointF::y) * 1.05;
    QString svg = frame(title, series, limit);
    const double groupWidth = kPlotWidth / double(groups.size());
    const double barWidth = groupWidth * 0.8 / double(series.size());
    for (qsizetype group = 0; group < groups.size(); ++group) {
        const double left = kLeft + groupWidth * (double(group) + 0.1);
        for (std::size_t i = 0; i < series.size(); ++i) {
            const double value = series[i].points[std::size_t(group)].y();
            const double height = kPlotHeight * value / limit;
            svg += box(left + barWidth * double(i), kTop + kPlotHeight - height, barWidth * 0.9,
                       height, colour(i));
        }
        svg += text(left + groupWidth * 0.4, kHeight - 20, QStringLiteral("middle"), groups[group]);
    }
    return svg + QStringLiteral("</svg>\n");
}

QString lineChart(const QString &title, const QString &xName, const std::vector<Series> &series)
{
    const double limit = largest(series, &QPointF::y) * 1.05;
    const double length = largest(series, &QPointF::x);
    QString svg = frame(title, series, limit);
    for (const double value : gridValues(length))
        svg += text(kLeft + kPlotWidth * value / length, kHeight - 22, QStringLiteral("middle"),
                    QString::number(value));
    svg += text(kLeft + kPlotWidth / 2, kHeight - 6, QStringLiteral("middle"), xName);
    for (std::size_t i = 0; i < series.size(); ++i) {
        QString points;
        for (const QPointF &point : series[i].points)
            points += QStringLiteral("%1,%2 ")
                          .arg(kLeft + kPlotWidth * point.x() / length, 0, 'f', 1)
                          .arg(kTop + kPlotHeight * (1 - point.y() / limit), 0, 'f', 1);
        svg += QStringLiteral("<polyline fill=\"none\" stroke=\"%1\" points=\"%2\"/>\n")
                   .arg(colour(i), points.trimmed());
    }
    return svg + QStringLiteral("</svg>\n");
}

} // namespace bench
