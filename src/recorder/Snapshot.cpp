#include "Snapshot.h"

#include "Exif.h"

#include <QBuffer>
#include <QDir>
#include <QFile>
#include <QImageWriter>
#include <QSaveFile>
#include <QtEndian>

#include <array>
#include <cmath>

extern "C" {
#include <libavutil/crc.h>
}

using namespace Qt::StringLiterals;

namespace recording {

namespace {

QString attribute(const QString &name, const QString &value)
{
    return u" %1=\"%2\""_s.arg(name, value.toHtmlEscaped());
}

/// Degrees and minutes with their hemisphere, as XMP writes coordinates: "22,30.123456N".
QString coordinate(double degrees, QChar positive, QChar negative)
{
    const double size = std::abs(degrees);
    const double whole = std::floor(size);
    return u"%1,%2%3"_s.arg(int(whole))
        .arg((size - whole) * 60, 0, 'f', 6)
        .arg(degrees < 0 ? negative : positive);
}

/// Angles are those of the camera on its mount: where the aircraft heads is not known, and with it
/// no direction over ground.
QString attributesOf(const klv::UasDatalinkSet &set)
{
    QString text;
    const auto number = [&](const QString &name, std::optional<double> value) {
        if (value)
            text += attribute(u"pod:"_s + name, QString::number(*value, 'f', 4));
    };
    if (!set.platform.isEmpty())
        text += attribute(u"pod:Version"_s, set.platform);
    number(u"RelativeAzimuth"_s, set.relativeAzimuth);
    number(u"RelativeElevation"_s, set.relativeElevation);
    number(u"RelativeRoll"_s, set.relativeRoll);
    number(u"SlantRange"_s, set.slantRange);
    number(u"TargetElevation"_s, set.targetElevation);
    if (set.targetLatitude && set.targetLongitude) {
        text += attribute(u"exif:GPSDestLatitude"_s, coordinate(*set.targetLatitude, u'N', u'S'));
        text += attribute(u"exif:GPSDestLongitude"_s, coordinate(*set.targetLongitude, u'E', u'W'));
    }
    return text;
}

QString xmpOf(const Snapshot &snapshot)
{
    const QString time =
        snapshot.time.toOffsetFromUtc(snapshot.time.offsetFromUtc()).toString(Qt::ISODateWithMs);
    QString attributes = attribute(u"xmp:CreateDate"_s, time)
                         + attribute(u"exif:DateTimeOriginal"_s, time)
                         + attribute(u"xmp:CreatorTool"_s, u"podconsole"_s);
    if (snapshot.geometry)
        attributes += attributesOf(*snapshot.geometry);
    return u"<?xpacket begin=\"\ufeff\" id=\"W5M0MpCehiHzreSzNTczkc9d\"?>\n"
           "<x:xmpmeta xmlns:x=\"adobe:ns:meta/\">"
           "<rdf:RDF xmlns:rdf=\"http://www.w3.org/1999/02/22-rdf-syntax-ns#\">"
           "<rdf:Description rdf:about=\"\" xmlns:xmp=\"http://ns.adobe.com/xap/1.0/\""
           " xmlns:exif=\"http://ns.adobe.com/exif/1.0/\" xmlns:pod=\"urn:podconsole:pod:1.0\""_s
           + attributes + u"/></rdf:RDF></x:xmpmeta>\n<?xpacket end=\"r\"?>"_s;
}

/// A chunk of a PNG: length, kind, contents, CRC; big-endian.
QByteArray chunk(const QByteArray &kindAndContents)
{
    const uint32_t crc = ~av_crc(av_crc_get_table(AV_CRC_32_IEEE_LE), ~0U,
                                 reinterpret_cast<const uint8_t *>(kindAndContents.constData()),
                                 size_t(kindAndContents.size()));
    QByteArray numbers(8, '\0');
    qToBigEndian(quint32(kindAndContents.size()) - 4, numbers.data());
    qToBigEndian(crc, numbers.data() + 4);
    return numbers.first(4) + kindAndContents + numbers.last(4);
}

/// XMP stands in a text that is not compressed and of no language: Qt's own text chunks bear a
/// language, with which readers do not take them for XMP.
QByteArray pngChunks(const QByteArray &exif, const QByteArray &xmp)
{
    return chunk("eXIf" + exif) + chunk(QByteArrayLiteral("iTXtXML:com.adobe.xmp\0\0\0\0\0") + xmp);
}

/// A segment of a JPEG: its length counts itself.
QByteArray segment(const QByteArray &contents)
{
    QByteArray head("\xFF\xE1\0\0", 4);
    qToBigEndian(quint16(contents.size() + 2), head.data() + 2);
    return head + contents;
}

QByteArray jpegSegments(const QByteArray &exif, const QByteArray &xmp)
{
    return segment(QByteArrayLiteral("Exif\0\0") + exif)
           + segment(QByteArrayLiteral("http://ns.adobe.com/xap/1.0/\0") + xmp);
}

/// How a file is written, and where in it what we add has its place.
struct FileKind
{
    QLatin1StringView ending;
    const char *writer; ///< Qt's name
    int quality;        ///< of 100; -1 where it makes no difference
    qsizetype place;    ///< behind the signature and the first chunk or segment
    QByteArray (*additions)(const QByteArray &exif, const QByteArray &xmp);
};

constexpr auto kFileKinds = std::to_array<FileKind>({
    {kPng, "png", -1, 33, pngChunks},
    {kJpeg, "jpeg", 95, 20, jpegSegments},
});

const FileKind &kindOf(const QString &format) { return kFileKinds[format == kJpeg ? 1 : 0]; }

QByteArray bytesOf(const Snapshot &snapshot, const FileKind &kind, QString &error)
{
    QByteArray bytes;
    QBuffer buffer(&bytes);
    QImageWriter writer(&buffer, kind.writer);
    writer.setQuality(kind.quality);
    // Without the alpha that pictures for the screen have.
    if (!writer.write(snapshot.picture.convertToFormat(QImage::Format_RGB888))) {
        error = writer.errorString();
        return {};
    }
    return bytes.insert(kind.place, kind.additions(exifOf(snapshot.time, snapshot.picture.size(),
                                                          snapshot.geometry),
                                                   xmpOf(snapshot).toUtf8()));
}

/// Two in one millisecond, or a clock that was set back.
QString freePath(const QDir &folder, const QDateTime &time, const QString &ending)
{
    const QString name = time.toString(u"'pod'_yyyy-MM-dd_HH-mm-ss-zzz"_s);
    QString path = folder.filePath(u"%1.%2"_s.arg(name, ending));
    for (int i = 2; QFile::exists(path); ++i)
        path = folder.filePath(u"%1_%2.%3"_s.arg(name).arg(i).arg(ending));
    return path;
}

} // namespace

QString Snapshot::writeInto(const QString &folder, QString &error) const
{
    if (!QDir(folder).mkpath(u"."_s)) {
        error = folder;
        return {};
    }
    const FileKind &kind = kindOf(format);
    const QByteArray bytes = bytesOf(*this, kind, error);
    if (bytes.isEmpty())
        return {};
    // Whole or not at all.
    QSaveFile file(freePath(QDir(folder), time, kind.ending));
    if (file.open(QIODevice::WriteOnly) && file.write(bytes) == bytes.size() && file.commit())
        return file.fileName();
    error = file.errorString();
    return {};
}

} // namespace recording
