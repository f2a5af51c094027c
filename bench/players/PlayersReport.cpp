#include "PlayersReport.h"

#include "SvgChart.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QMap>

#include <algorithm>
#include <array>

namespace bench {
namespace {

struct Column
{
    const char *title;
    int decimals;
};

/// What follows stream and player in a line of results.
constexpr auto kColumns = std::to_array<Column>({
    {"age on screen, ms", 1},
    {"when first shown, ms", 1},
    {"p99", 0},
    {"max", 0},
    {"pictures/s", 1},
    {"CPU ms/picture", 2},
    {"X server ms/picture", 2},
    {"cores", 2},
    {"memory, MiB", 0},
    {"start, ms", 0},
    {"recovery, ms", 0},
});
constexpr std::size_t kAge = 0;
constexpr std::size_t kRate = 4;
constexpr std::size_t kCpu = 5;
constexpr std::size_t kRecovery = 10;

using Values = std::array<double, kColumns.size()>;

/// The runs of every player on every stream, both in the order in which they first came.
struct Results
{
    QStringList streams;
    QStringList players;
    QMap<QString, std::vector<Values>> runs;       // by stream and player
    QMap<QString, std::vector<Values>> recoveries; // runs too short to tell anything else

    void take(const QStringList &words)
    {
        if (words.size() != qsizetype(kColumns.size()) + 2)
            return;
        if (!streams.contains(words[0]))
            streams.append(words[0]);
        if (!players.contains(words[1]))
            players.append(words[1]);
        Values values{};
        for (std::size_t i = 0; i < values.size(); ++i)
            values[i] = words[qsizetype(i) + 2].toDouble();
        (values[kRecovery] < 0 ? runs : recoveries)[words[0] + u' ' + words[1]].push_back(values);
    }

    /// Of the runs in which there is one; -1 when there is none.
    double median(const QString &stream, const QString &player, std::size_t column) const
    {
        std::vector<double> values;
        const auto &measured = column == kRecovery ? recoveries : runs;
        for (const Values &run : measured.value(stream + u' ' + player)) {
            if (run[column] >= 0 && run[kRate] > 0)
                values.push_back(run[column]);
        }
        if (values.empty())
            return -1;
        std::ranges::sort(values);
        return values[values.size() / 2];
    }
};

QString cell(double value, int decimals)
{
    return value < 0 ? QStringLiteral("—") : QString::number(value, 'f', decimals);
}

QString table(const Results &results)
{
    QString text = QStringLiteral("| stream | player | runs |");
    for (const Column &column : kColumns)
        text += QStringLiteral(" %1 |").arg(QString::fromLatin1(column.title));
    text += QStringLiteral("\n| --- | --- |%1\n")
                .arg(QStringLiteral(" ---: |").repeated(int(kColumns.size()) + 1));
    for (const QString &stream : results.streams) {
        for (const QString &player : results.players) {
            text += QStringLiteral("| %1 | %2 | %3 |")
                        .arg(stream, player)
                        .arg(results.runs.value(stream + u' ' + player).size());
            for (std::size_t i = 0; i < kColumns.size(); ++i)
                text += QStringLiteral(" %1 |").arg(
                    cell(results.median(stream, player, i), kColumns[i].decimals));
            text += u'\n';
        }
    }
    return text;
}

QString bars(const Results &results, std::size_t column, const QString &title)
{
    std::vector<Series> series;
    for (const QString &player : results.players) {
        Series one{player, {}};
        for (const QString &stream : results.streams)
            one.points.emplace_back(0, std::max(results.median(stream, player, column), 0.0));
        series.push_back(one);
    }
    return barChart(title, results.streams, series);
}

/// Of the pictures of each second the median and the worst latency.
QString overTime(const QByteArray &trace, const QString &title)
{
    QMap<int, std::vector<double>> seconds;
    for (const QByteArray &line : trace.split('\n')) {
        const QByteArrayList words = line.split(' ');
        if (words.size() == 2)
            seconds[int(words[0].toDouble() / 1000)].push_back(words[1].toDouble());
    }
    Series median{QStringLiteral("median"), {}};
    Series worst{QStringLiteral("worst"), {}};
    for (auto it = seconds.begin(); it != seconds.end(); ++it) {
        std::ranges::sort(it.value());
        median.points.emplace_back(it.key(), it.value()[it.value().size() / 2]);
        worst.points.emplace_back(it.key(), it.value().back());
    }
    return lineChart(title, QStringLiteral("seconds"), {median, worst});
}

bool write(const QString &path, const QByteArray &bytes)
{
    QFile file(path);
    return file.open(QIODevice::WriteOnly) && file.write(bytes) == bytes.size();
}

/// Replaces what stands between the two marks of the page.
bool replaceMeasured(const QString &path, const QString &text)
{
    const QString begin = QStringLiteral("<!-- measured -->\n");
    const QString end = QStringLiteral("<!-- end of measured -->");
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return false;
    QString page = QString::fromUtf8(file.readAll());
    file.close();
    const qsizetype from = page.indexOf(begin);
    const qsizetype to = page.indexOf(end);
    if (from < 0 || to < from)
        return false;
    page.replace(from + begin.size(), to - from - begin.size(), text);
    return write(path, page.toUtf8());
}

} // namespace

bool writeReport(const QStringList &files, const QString &docs)
{
    Results results;
    const QDir folder(docs);
    const auto image = [&](const QString &name) {
        return folder.filePath(QStringLiteral("images/performance-%1.svg").arg(name));
    };
    for (const QString &path : files) {
        QFile file(path);
        if (!file.open(QIODevice::ReadOnly))
            return false;
        const QByteArray bytes = file.readAll();
        if (path.endsWith(QLatin1String(".trace"))) {
            const QString name = QFileInfo(path).baseName();
            if (!write(image(name),
                       overTime(bytes, QStringLiteral("Latency, ms: %1").arg(name)).toUtf8()))
                return false;
            continue;
        }
        for (const QString &line : QString::fromUtf8(bytes).split(u'\n')) {
            if (!line.startsWith(u'#'))
                results.take(line.simplified().split(u' '));
        }
    }
    if (results.streams.isEmpty())
        return true;
    return write(image(QStringLiteral("age")),
                 bars(results, kAge, QStringLiteral("Age of the picture on screen, ms, median"))
                     .toUtf8())
           && write(
               image(QStringLiteral("cpu")),
               bars(results, kCpu, QStringLiteral("Processor time per shown picture, ms, median"))
                   .toUtf8())
           && replaceMeasured(folder.filePath(QStringLiteral("performance.md")), table(results));
}

} // namespace bench
