#pragma once

#include <QPointF>
#include <QString>
#include <QStringList>

#include <vector>

namespace bench {

/// One line or one kind of bar.
struct Series
{
    QString name;
    std::vector<QPointF> points; ///< of bars only y counts, one for each group
};

/// Bars side by side in named groups, as an SVG document.
QString barChart(const QString &title, const QStringList &groups,
                 const std::vector<Series> &series);

/// Lines over a common axis.
QString lineChart(const QString &title, const QString &xName, const std::vector<Series> &series);

} // namespace bench
