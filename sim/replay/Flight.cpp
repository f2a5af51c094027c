#include "Flight.h"

#include <QDateTime>
#include <QDir>
#include <QFileInfo>
#include <QJsonDocument>
#include <QJsonObject>
#include <QRegularExpression>

#include <array>
#include <memory>

extern "C" {
#include <libavformat/avformat.h>
}

using namespace Qt::StringLiterals;

namespace {

constexpr std::array<char, 4> kKeyBegin = {0x06, 0x0E, 0x2B, 0x34};

const QRegularExpression &numbered()
{
    static const QRegularExpression pattern(u"_\\d+\\.ts$"_s);
    return pattern;
}

struct InputDeleter
{
    void operator()(AVFormatContext *input) const { avformat_close_input(&input); }
};

struct PacketDeleter
{
    void operator()(AVPacket *packet) const { av_packet_free(&packet); }
};

QString errorText(int code)
{
    std::array<char, AV_ERROR_MAX_STRING_SIZE> text{};
    av_strerror(code, text.data(), text.size());
    return QString::fromLocal8Bit(text.data());
}

/// A packet may hold several sets, behind headers of its carriage.
void takeSets(QByteArrayView bytes, QList<klv::UasDatalinkSet> &sets)
{
    const QByteArrayView begin(kKeyBegin.data(), qsizetype(kKeyBegin.size()));
    for (qsizetype at = bytes.indexOf(begin); at >= 0; at = bytes.indexOf(begin, at + 1)) {
        if (const auto set = klv::decodeUasDatalink(bytes.sliced(at)))
            sets.append(*set);
    }
}

bool readSets(const QString &file, QList<klv::UasDatalinkSet> &sets, QString &error)
{
    AVFormatContext *opened = nullptr;
    const int code =
        avformat_open_input(&opened, QFile::encodeName(file).constData(), nullptr, nullptr);
    if (code < 0) {
        error = u"%1: %2"_s.arg(file, errorText(code));
        return false;
    }
    const std::unique_ptr<AVFormatContext, InputDeleter> input(opened);
    const std::unique_ptr<AVPacket, PacketDeleter> packet(av_packet_alloc());
    while (packet && av_read_frame(input.get(), packet.get()) >= 0) {
        if (input->streams[packet->stream_index]->codecpar->codec_id == AV_CODEC_ID_SMPTE_KLV)
            takeSets({packet->data, packet->size}, sets);
        av_packet_unref(packet.get());
    }
    return true;
}

void readCommands(const QString &log, QList<Flight::Command> &commands)
{
    QFile file(log);
    if (!file.open(QIODevice::ReadOnly))
        return;
    while (!file.atEnd()) {
        const QJsonObject line = QJsonDocument::fromJson(file.readLine()).object();
        if (line[u"event"].toString() == "command"_L1) {
            const QDateTime time =
                QDateTime::fromString(line[u"time"].toString(), Qt::ISODateWithMs);
            commands.append(
                {time.toMSecsSinceEpoch(), line[u"name"].toString(), line[u"bytes"].toString()});
        }
    }
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
    readCommands(nameOfRecording(file) + u".jsonl"_s, flight.commands);
    if (!flight.sets.isEmpty() || !flight.commands.isEmpty())
        return flight;
    error = u"%1: neither telemetry nor commands in it"_s.arg(file);
    return {};
}
