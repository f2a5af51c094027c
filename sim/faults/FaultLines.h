#pragma once

#include <QString>
#include <QStringList>

#include <array>
#include <optional>

/// Fault lines as tables: a row states the words a line begins with, what follows them and what the
/// line does to a target.
namespace faults {

using Arguments = const QStringList &;
/// The answer after "ok", or nothing when the arguments make no sense.
using Answer = std::optional<QString>;

template<typename Target>
struct Row
{
    const char *words;
    const char *arguments;
    const char *meaning;
    Answer (*run)(Target &, Arguments);
};

inline std::optional<int> number(Arguments arguments, int index, int low, int high)
{
    bool ok = false;
    const int value = arguments.value(index).toInt(&ok);
    if (!ok || value < low || value > high)
        return std::nullopt;
    return value;
}

inline Answer done(bool success = true) { return success ? Answer(QString()) : std::nullopt; }

template<typename Target, std::size_t count>
QString listRows(const std::array<Row<Target>, count> &rows)
{
    QStringList lines;
    for (const Row<Target> &row : rows)
        lines.append(QStringLiteral("%1 %2 - %3")
                         .arg(QString::fromLatin1(row.words), QString::fromLatin1(row.arguments),
                              QString::fromLatin1(row.meaning)));
    return lines.join(QLatin1String("; "));
}

template<typename Target, std::size_t count>
QString executeRows(const std::array<Row<Target>, count> &rows, Target &target, const QString &line)
{
    const QString words = line.simplified();
    for (const Row<Target> &row : rows) {
        const QString start = QString::fromLatin1(row.words);
        if (words != start && !words.startsWith(start + u' '))
            continue;
        const Answer answer =
            row.run(target, words.mid(start.size()).split(u' ', Qt::SkipEmptyParts));
        if (!answer)
            return QStringLiteral("error: %1 %2").arg(start, QString::fromLatin1(row.arguments));
        return answer->isEmpty() ? QStringLiteral("ok") : QStringLiteral("ok ") + *answer;
    }
    return QStringLiteral("error: unknown line, try help");
}

} // namespace faults
