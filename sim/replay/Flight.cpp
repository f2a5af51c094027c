#include "Flight.h"

#include "MediaFile.h"

#include <QDateTime>
#include <QDir>
#include <QFileInfo>
#include <QJsonDocument>
#include <QJsonObject>
#include <QRegularExpression>

using namespace Qt::StringLiterals;

namespace {

const QRegularExpression &numbered()
{
    static const QRegularExpression pattern(u"_\\d+\\.ts$"_s);
    return pattern;
}

bool readSets(const QString &file, QList<klv::UasDatalinkSet> &sets, QString &error)
{
    MediaFile input;
    if (!input.open(file, error))
        return false;
    while (input.read())
        sets += input.sets();
    return true;
}

Flight::Command commandIn(const QJsonObject &line, qint64 timeMs)
{
    return {timeMs, line[u"name"].toString(), line[u"bytes"].toString()};
}

Flight::Status statusIn(const QJsonObject &line, qint64 timeMs)
{
    Flight::Status logged{timeMs, {}};
    logged.status.zoomStep = line[u"zoomStep"].toInt();
    logged.status.tracking = line[u"tracking"].toBool();
    if (line.contains(u"zoom"))
        logged.status.camera = {line[u"zoom"].toDouble(), line[u"podRecording"].toBool(),
                                line[u"mode"].toString()};
    return logged;
}

} // namespace

QString nameOfRecording(const QString &file)
{
    const QString name = QString(file).remove(numbered());
    return name == file ? QDir(QFileInfo(file).path()).filePath(QFileInfo(file).completeBaseName())
                        : name;
}

QStringList filesOfRecording(const QString &file)
{
    if (!file.contains(numbered()))
        return {file};
    const QFileInfo name(nameOfRecording(file));
    QStringList files;
    for (const QString &entry : name.dir().entryList({name.fileName() + u"_*.ts"_s}, QDir::Files)) {
        if (QString(entry).remove(numbered()) == name.fileName())
            files.append(name.dir().filePath(entry));
    }
    return files.isEmpty() ? QStringList{file} : files; // which then tells what it lacks
}

std::optional<Flight> readFlight(const QString &file, QString &error)
{
    Flight flight;
    for (const QString &part : filesOfRecording(file)) {
        if (!readSets(part, flight.sets, error))
            return {};
    }
    readLogOf(file, flight);
    if (!flight.sets.isEmpty() || !flight.commands.isEmpty())
        return flight;
    error = u"%1: neither telemetry nor commands in it"_s.arg(file);
    return {};
}

void readLogOf(const QString &file, Flight &flight)
{
    QFile log(nameOfRecording(file) + u".jsonl"_s);
    if (!log.open(QIODevice::ReadOnly))
        return;
    while (!log.atEnd()) {
        const QJsonObject line = QJsonDocument::fromJson(log.readLine()).object();
        const QString event = line[u"event"].toString();
        const qint64 timeMs =
            QDateTime::fromString(line[u"time"].toString(), Qt::ISODateWithMs).toMSecsSinceEpoch();
        if (event == "command"_L1)
            flight.commands.append(commandIn(line, timeMs));
        else if (event == "status"_L1)
            flight.statuses.append(statusIn(line, timeMs));
    }
}
