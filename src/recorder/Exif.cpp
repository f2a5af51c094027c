#include "Exif.h"

#include <QTimeZone>
#include <QtEndian>

#include <cmath>

using namespace Qt::StringLiterals;

namespace recording {

namespace {

enum class ExifType : quint16 {
    Byte = 1,
    Ascii = 2,
    Short = 3,
    Long = 4,
    Rational = 5,
    Undefined = 7
};

enum ExifTag : quint16 {
    XResolution = 0x011A,
    YResolution = 0x011B,
    ResolutionUnit = 0x0128,
    Software = 0x0131,
    YCbCrPositioning = 0x0213,
    ExifDirectory = 0x8769,
    GpsDirectory = 0x8825,
    // of the Exif directory
    ExifVersion = 0x9000,
    DateTimeOriginal = 0x9003,
    OffsetTimeOriginal = 0x9011,
    ComponentsConfiguration = 0x9101,
    SubSecTimeOriginal = 0x9291,
    FlashpixVersion = 0xA000,
    ColorSpace = 0xA001,
    PixelXDimension = 0xA002,
    PixelYDimension = 0xA003,
    // of the GPS directory; a coordinate's is that of its hemisphere, its own is the next
    GpsVersion = 0,
    GpsLatitudeRef = 1,
    GpsLongitudeRef = 3,
    GpsAltitudeRef = 5,
    GpsAltitude = 6,
    GpsTimeStamp = 7,
    GpsDirectionRef = 16,
    GpsDirection = 17,
    GpsDestLatitudeRef = 19,
    GpsDestLongitudeRef = 21,
    GpsDestDistanceRef = 25,
    GpsDestDistance = 26,
    GpsDateStamp = 29,
};

constexpr quint32 kHeaderBytes = 8;
constexpr quint32 kEntryBytes = 12;
constexpr qsizetype kInlineBytes = 4; // of a value that stands in its entry

template<typename Number>
QByteArray bigEndian(Number number)
{
    QByteArray bytes(sizeof(Number), '\0');
    qToBigEndian(number, bytes.data());
    return bytes;
}

struct ExifEntry
{
    quint16 tag;
    ExifType type;
    quint32 count;
    QByteArray value;
};

ExifEntry textEntry(ExifTag tag, const QString &text)
{
    const QByteArray value = text.toLatin1() + '\0';
    return {tag, ExifType::Ascii, quint32(value.size()), value};
}

ExifEntry shortEntry(ExifTag tag, quint16 number)
{
    return {tag, ExifType::Short, 1, bigEndian(number)};
}

ExifEntry longEntry(ExifTag tag, quint32 number)
{
    return {tag, ExifType::Long, 1, bigEndian(number)};
}

QByteArray fraction(double number, quint32 denominator)
{
    return bigEndian(quint32(std::llround(number * denominator))) + bigEndian(denominator);
}

ExifEntry rationalEntry(ExifTag tag, double number, quint32 denominator)
{
    return {tag, ExifType::Rational, 1, fraction(number, denominator)};
}

/// Entries by rising tags.
using ExifEntries = QList<ExifEntry>;

/// A directory that begins at `offset`, and behind it the values that have no room in it.
QByteArray bytesOf(const ExifEntries &directory, quint32 offset)
{
    QByteArray entries = bigEndian(quint16(directory.size()));
    QByteArray values;
    const quint32 valuesAt = offset + 2 + kEntryBytes * quint32(directory.size()) + 4;
    for (const ExifEntry &entry : directory) {
        entries += bigEndian(entry.tag) + bigEndian(quint16(entry.type)) + bigEndian(entry.count);
        if (entry.value.size() <= kInlineBytes) {
            entries += entry.value.leftJustified(kInlineBytes, '\0');
            continue;
        }
        entries += bigEndian(valuesAt + quint32(values.size()));
        values += entry.value;
        values.append(values.size() % 2, '\0'); // offsets are even
    }
    return entries + bigEndian(quint32(0)) + values;
}

/// Degrees, minutes and seconds, to a few micrometres.
void addCoordinate(ExifEntries &directory, ExifTag refTag, double degrees, char positive,
                   char negative)
{
    constexpr qint64 kParts = 1'000'000; // of a second
    const qint64 all = std::llround(std::abs(degrees) * 3600 * kParts);
    const qint64 wholeDegrees = all / (3600 * kParts);
    const qint64 wholeMinutes = all / (60 * kParts) % 60;
    directory.append(textEntry(refTag, QString(QLatin1Char(degrees < 0 ? negative : positive))));
    directory.append({quint16(refTag + 1), ExifType::Rational, 3,
                      fraction(double(wholeDegrees), 1) + fraction(double(wholeMinutes), 1)
                          + bigEndian(quint32(all % (60 * kParts))) + bigEndian(quint32(kParts))});
}

void addPlace(ExifEntries &directory, ExifTag refTag, std::optional<double> latitude,
              std::optional<double> longitude)
{
    if (!latitude || !longitude || std::abs(*latitude) > 90 || std::abs(*longitude) > 180)
        return;
    addCoordinate(directory, refTag, *latitude, 'N', 'S');
    addCoordinate(directory, ExifTag(refTag + 2), *longitude, 'E', 'W');
}

/// The pod's own place and direction over ground, as far as it tells them; what it looks at is the
/// destination, of which Exif knows no height.
ExifEntries gpsOf(const klv::UasDatalinkSet &set)
{
    const QDateTime utc = QDateTime::fromMSecsSinceEpoch(qint64(set.timeUs / 1000)).toUTC();
    const QTime time = utc.time();
    ExifEntries gps{{GpsVersion, ExifType::Byte, 4, QByteArray("\2\3\0\0", 4)}};
    addPlace(gps, GpsLatitudeRef, set.sensorLatitude, set.sensorLongitude);
    if (set.sensorAltitude) {
        const bool isBelowSea = *set.sensorAltitude < 0;
        gps.append({GpsAltitudeRef, ExifType::Byte, 1, QByteArray(1, isBelowSea ? '\1' : '\0')});
        gps.append(rationalEntry(GpsAltitude, std::abs(*set.sensorAltitude), 1000));
    }
    gps.append({GpsTimeStamp, ExifType::Rational, 3,
                fraction(time.hour(), 1) + fraction(time.minute(), 1)
                    + fraction(time.second() + time.msec() / 1000.0, 1000)});
    if (set.platformHeading && set.relativeAzimuth) {
        const double turn = std::fmod(*set.platformHeading + *set.relativeAzimuth, 360);
        gps.append(textEntry(GpsDirectionRef, u"T"_s)); // from true north
        gps.append(rationalEntry(GpsDirection, turn < 0 ? turn + 360 : turn, 100));
    }
    addPlace(gps, GpsDestLatitudeRef, set.targetLatitude, set.targetLongitude);
    if (set.slantRange) {
        gps.append(textEntry(GpsDestDistanceRef, u"K"_s)); // kilometres
        gps.append(rationalEntry(GpsDestDistance, *set.slantRange / 1000, 10000));
    }
    gps.append(textEntry(GpsDateStamp, utc.toString(u"yyyy:MM:dd"_s)));
    return gps;
}

ExifEntries pictureOf(const QDateTime &time, const QSize &size)
{
    const int ahead = time.offsetFromUtc();
    const QString offset =
        (ahead < 0 ? u"-"_s : u"+"_s) + QTime(0, 0).addSecs(std::abs(ahead)).toString(u"HH:mm"_s);
    return {
        {ExifVersion, ExifType::Undefined, 4, "0232"},
        textEntry(DateTimeOriginal, time.toString(u"yyyy:MM:dd HH:mm:ss"_s)),
        textEntry(OffsetTimeOriginal, offset),
        {ComponentsConfiguration, ExifType::Undefined, 4, QByteArray("\1\2\3\0", 4)}, // Y, Cb, Cr
        textEntry(SubSecTimeOriginal, time.toString(u"zzz"_s)),
        {FlashpixVersion, ExifType::Undefined, 4, "0100"},
        shortEntry(ColorSpace, 1), // sRGB
        longEntry(PixelXDimension, quint32(size.width())),
        longEntry(PixelYDimension, quint32(size.height())),
    };
}

} // namespace

QByteArray exifOf(const QDateTime &time, const QSize &size,
                  const std::optional<klv::UasDatalinkSet> &geometry)
{
    const auto rootWith = [&](quint32 pictureAt, quint32 gpsAt) {
        // What is required, though it tells nothing of a picture for the screen.
        ExifEntries root{
            rationalEntry(XResolution, 72, 1),    rationalEntry(YResolution, 72, 1),
            shortEntry(ResolutionUnit, 2), // inch
            textEntry(Software, u"podconsole"_s), shortEntry(YCbCrPositioning, 1),
            longEntry(ExifDirectory, pictureAt),
        };
        if (geometry)
            root.append(longEntry(GpsDirectory, gpsAt));
        return bytesOf(root, kHeaderBytes);
    };
    const quint32 pictureAt = kHeaderBytes + quint32(rootWith(0, 0).size());
    const QByteArray picture = bytesOf(pictureOf(time, size), pictureAt);
    const quint32 gpsAt = pictureAt + quint32(picture.size());
    return QByteArray("MM\0\x2A", 4) + bigEndian(kHeaderBytes) + rootWith(pictureAt, gpsAt)
           + picture + (geometry ? bytesOf(gpsOf(*geometry), gpsAt) : QByteArray());
}

} // namespace recording
