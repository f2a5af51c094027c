#include "ProtocolTables.h"

#include "Markdown.h"
#include "protocol/CommandCatalogue.h"
#include "protocol/Field.h"
#include "protocol/InboundFrames.h"
#include "protocol/LongFrame.h"
#include "protocol/ModelTable.h"
#include "protocol/SettingFrames.h"

#include <QStringList>

#include <algorithm>
#include <array>

using namespace Qt::StringLiterals;
using namespace protocol;
using markdown::code;
using markdown::hex;

namespace {

QString nameOf(const CommandSpec &spec)
{
    return QString::fromLatin1(spec.name.data(), qsizetype(spec.name.size()));
}

QString sourceText(DataByte byte)
{
    switch (byte.source) {
    case DataByte::Constant:
        return hex(byte.constant);
    case DataByte::Argument0:
        return u"argument 1"_s;
    case DataByte::Argument1:
        return u"argument 2"_s;
    case DataByte::TrimStep:
        return u"argument 1 if 0 or 1, else 00"_s;
    }
    Q_UNREACHABLE();
}

QString commandTable()
{
    constexpr int kFirstArgument = 1;
    constexpr int kSecondArgument = 2;
    QList<QStringList> rows;
    for (const CommandSpec &spec : commandCatalogue()) {
        rows.append({code(nameOf(spec)), hex(spec.command1), hex(spec.command2),
                     sourceText(spec.data1), sourceText(spec.data2),
                     code(hex(buildCommand(spec.id, kFirstArgument, kSecondArgument)))});
    }
    return markdown::table({u"command"_s, u"byte 2"_s, u"byte 3"_s, u"byte 4"_s, u"byte 5"_s,
                            u"frame, with arguments 1 and 2"_s},
                           rows);
}

QString longCommandTable()
{
    QVariantList counting;
    for (int i = 0; i < kSetSbus.payloadLength; ++i)
        counting.append(i);
    const auto list = [&](const LongCommandSpec &spec) {
        return buildListCommand(spec, counting).value_or(QByteArray());
    };
    const QDateTime moment(QDate(2024, 3, 5), QTime(14, 7, 9));
    QList<QStringList> rows;
    const auto row = [&](const QString &name, const LongCommandSpec &spec, const QString &payload,
                         const QByteArray &example) {
        rows.append({code(name), hex(spec.type),
                     QString::number(spec.payloadLength + kLongOverhead), payload,
                     code(hex(example, qsizetype(example.size())))});
    };
    row(u"setSbus"_s, kSetSbus, u"24 channel numbers, in the order of the map"_s, list(kSetSbus));
    row(u"setTime"_s, kSetTime,
        u"year less %1, month, day, hour, minute, second; local time"_s.arg(kClockEpochYear),
        buildSetTime(moment));
    row(u"gimbalSetToPitchYaw"_s, kSetPitchYaw,
        u"pitch and yaw in 1/%1 degree, signed 16 bits each"_s.arg(kAngleUnitsPerDegree),
        buildSetPitchYaw(-90, 0));
    row(u"setB7N"_s, kSetB7N,
        u"address (4), bit rate, resolution, encoding (codes from 1), gateway (4)"_s,
        list(kSetB7N));
    return markdown::table({u"command"_s, u"type"_s, u"length"_s, u"payload"_s, u"example"_s},
                           rows);
}

struct NamedKind
{
    FrameKind kind;
    QString meaning;
};

const QList<NamedKind> &inboundKinds()
{
    static const QList<NamedKind> kinds = {
        {kStatusWithZoom, u"status, with zoom ratio, recording and work mode"_s},
        {kStatusPlain, u"status, without these"_s},
        {kStatusWithPlane, u"status, with the aircraft's position"_s},
        {kSbusReply, u"SBUS map, the answer to `querySbusData`"_s},
        {kVersionReply, u"version, the answer to `queryVersion`"_s},
        {kB7NReply, u"encoder settings, the answer to `queryB7N`"_s},
        {kB7NAddressReply, u"encoder address alone"_s},
    };
    return kinds;
}

/// A frame of the kind: its header and zeros.
QByteArray blank(const FrameKind &kind)
{
    QByteArray frame(kind.length, '\0');
    frame[long_offset::Sync] = static_cast<char>(kLongSync);
    frame[long_offset::Type] = static_cast<char>(kind.type);
    frame[long_offset::Length] = static_cast<char>(kind.length);
    return frame;
}

QString inboundTable()
{
    QList<QStringList> rows;
    for (const NamedKind &named : inboundKinds()) {
        const InboundFrame frame = decodeInbound(blank(named.kind));
        const bool ignored = std::holds_alternative<UnknownFrame>(frame);
        rows.append({hex(named.kind.type),
                     u"%1 (%2)"_s.arg(hex(named.kind.length)).arg(named.kind.length), named.meaning,
                     ignored ? u"ignored"_s : u"read"_s});
    }
    return markdown::table({u"type"_s, u"length"_s, u"meaning"_s, u"the console"_s}, rows);
}

struct StatusRow
{
    Field field;
    QString property;
    QString unit;
    QList<FrameKind> kinds;
};

const QList<StatusRow> &statusRows()
{
    using namespace status_field;
    static const QList<FrameKind> all = {kStatusWithZoom, kStatusPlain, kStatusWithPlane};
    static const QList<FrameKind> zoom = {kStatusWithZoom};
    static const QList<FrameKind> plane = {kStatusWithPlane};
    static const QList<StatusRow> rows = {
        {LaserDistance, u"laserdistance"_s, u"m"_s, all},
        {Roll, u"roll"_s, u"degrees"_s, all},
        {Pitch, u"pitch"_s, u"degrees"_s, all},
        {Yaw, u"yaw"_s, u"degrees"_s, all},
        {ZoomStep, u"zoomint"_s, u"zoom step"_s, all},
        {Tracking, u"tracking"_s, u"1 is on"_s, all},
        {TargetLatitude, u"targetLatitude"_s, u"degrees"_s, all},
        {TargetLongitude, u"targetLongitude"_s, u"degrees"_s, all},
        {TargetAltitude, u"targetAltitude"_s, u"m, cut to a whole number"_s, all},
        {ZoomRatio, u"zoom"_s, u"ratio"_s, zoom},
        {Recording, u"recording"_s, u"1 is on"_s, zoom},
        {WorkMode, u"workMode"_s, u"0 Follow, 1 Lock, 2 Down, else Unknown"_s, zoom},
        {PlaneLatitude, u"planeLatitude"_s, u"degrees"_s, plane},
        {PlaneLongitude, u"planeLongitude"_s, u"degrees"_s, plane},
        {PlaneAltitude, u"planeAltitude"_s, u"m, cut to a whole number"_s, plane},
        {PlaneYaw, u"planeYaw"_s, u"degrees"_s, plane},
    };
    return rows;
}

QString encodingText(Encoding encoding)
{
    switch (encoding) {
    case Encoding::U8:
    case Encoding::U16:
        return u"unsigned"_s;
    case Encoding::I16:
    case Encoding::I32:
        return u"signed"_s;
    }
    Q_UNREACHABLE();
}

QString statusTable()
{
    QList<QStringList> rows;
    for (const StatusRow &row : statusRows()) {
        QStringList types;
        for (const FrameKind &kind : row.kinds)
            types.append(hex(kind.type));
        rows.append({QString::number(row.field.offset),
                     QString::number(widthOf(row.field.encoding)), encodingText(row.field.encoding),
                     QString::number(row.field.scale), row.unit, code(row.property),
                     types.join(u", "_s)});
    }
    return markdown::table({u"offset"_s, u"bytes"_s, u"encoding"_s, u"scale"_s, u"unit"_s,
                            u"property"_s, u"in types"_s},
                           rows);
}

/// "26, 28 to 30" for the places of the payload that no field covers.
QString unreadPlaces(const FrameKind &kind)
{
    QList<bool> read(kind.length, false);
    for (const StatusRow &row : statusRows()) {
        if (row.kinds.contains(kind))
            std::fill_n(read.begin() + row.field.offset, widthOf(row.field.encoding), true);
    }
    QStringList places;
    const qsizetype checksum = kind.length - 1;
    for (qsizetype from = long_offset::Payload; from < checksum; ++from) {
        if (read[from])
            continue;
        qsizetype to = from;
        while (to + 1 < checksum && !read[to + 1])
            ++to;
        places.append(from == to ? QString::number(from) : u"%1 to %2"_s.arg(from).arg(to));
        from = to;
    }
    return places.isEmpty() ? u"none"_s : places.join(u", "_s);
}

QString unreadTable()
{
    QList<QStringList> rows;
    for (const FrameKind &kind : {kStatusWithZoom, kStatusPlain, kStatusWithPlane})
        rows.append({hex(kind.type), unreadPlaces(kind)});
    return markdown::table({u"type"_s, u"bytes that are not looked at"_s}, rows);
}

QString replyTable()
{
    QList<QStringList> rows;
    const auto row = [&](const QString &reply, qsizetype offset, qsizetype width,
                         const QString &content) {
        rows.append({reply, QString::number(offset), QString::number(width), content});
    };
    row(u"SBUS map"_s, kSbusOffset, kSbusChannels,
        u"one channel number each; the first 13 are `sbusPitchIndex` to `sbusOsdIndex`"_s);
    row(u"version"_s, version_offset::Channel, 1, u"channel: 0 T, 1 F, else C"_s);
    row(u"version"_s, version_offset::Model, 1, u"model code, signed"_s);
    row(u"version"_s, version_offset::Numbers, kVersionNumbers,
        u"version numbers, signed, shown with two digits each"_s);
    constexpr qsizetype kAddressWidth = 4;
    row(u"encoder"_s, b7n_offset::Address, kAddressWidth, u"IPv4 address, `b7nIPAddress`"_s);
    row(u"encoder"_s, b7n_offset::BitRate, 1, u"bit-rate code from 1, `b7nBitRateIndex` from 0"_s);
    row(u"encoder"_s, b7n_offset::Resolution, 1,
        u"resolution code from 1, `b7nResolutionIndex` from 0"_s);
    row(u"encoder"_s, b7n_offset::EncodeType, 1,
        u"encoding code from 1, `b7nEncodeTypeIndex` from 0"_s);
    row(u"encoder"_s, b7n_offset::Gateway, kAddressWidth, u"IPv4 gateway, `b7nGateWay`"_s);
    return markdown::table({u"reply"_s, u"offset"_s, u"bytes"_s, u"content"_s}, rows);
}

QString modelTable()
{
    constexpr int kColumns = 4;
    QStringList cells;
    const QLatin1String none = modelName(0);
    for (int number = 1; modelName(number) != none; ++number)
        cells.append(u"%1 %2"_s.arg(number).arg(modelName(number)));
    const qsizetype height = (cells.size() + kColumns - 1) / kColumns;
    QList<QStringList> rows;
    for (qsizetype y = 0; y < height; ++y) {
        QStringList row;
        for (qsizetype x = 0; x < kColumns; ++x)
            row.append(cells.value(x * height + y));
        rows.append(row);
    }
    return markdown::table(QStringList(kColumns, u"code and name"_s), rows);
}

} // namespace

void addPodTables(Tables &tables)
{
    tables.insert(u"commands"_s, commandTable());
    tables.insert(u"long commands"_s, longCommandTable());
    tables.insert(u"inbound frames"_s, inboundTable());
    tables.insert(u"status fields"_s, statusTable());
    tables.insert(u"status gaps"_s, unreadTable());
    tables.insert(u"replies"_s, replyTable());
    tables.insert(u"models"_s, modelTable());
}
