#include "Screen.h"

#include "ControlProbe.h"
#include "WatchedProcess.h"
#include "video/LatencyStrip.h"

#include <QtEndian>

#include <array>

namespace bench {
namespace {

constexpr int kStartWaitMs = 20000;

// Of the header of an X window dump, in 32-bit words.
enum DumpWord : quint8 { HeaderSize = 0, BytesPerLine = 12, ColourCount = 19, DumpWords = 25 };
constexpr std::size_t kDumpColourBytes = 12;

} // namespace

Screen::Screen()
{
    const QString geometry = QStringLiteral("%1x%2x24").arg(kSize.width()).arg(kSize.height());
    m_server.setStandardErrorFile(QProcess::nullDevice());
    setUpWatched(m_server);
    m_server.start(QStringLiteral("Xvfb"),
                   {QStringLiteral("-displayfd"), QStringLiteral("1"), QStringLiteral("-screen"),
                    QStringLiteral("0"), geometry, QStringLiteral("-nolisten"),
                    QStringLiteral("tcp"), QStringLiteral("-fbdir"), m_folder.path()});
    while (!m_server.canReadLine()) {
        if (!m_server.waitForReadyRead(kStartWaitMs))
            fail("no virtual display (is xvfb installed?)");
    }
    m_display = u':' + QString::fromLatin1(m_server.readLine()).trimmed();
    map();
}

Screen::~Screen()
{
    m_server.terminate();
    m_server.waitForFinished();
}

void Screen::map()
{
    m_file.setFileName(m_folder.filePath(QStringLiteral("Xvfb_screen0")));
    if (!m_file.open(QIODevice::ReadOnly))
        fail("the display shares no memory");
    const uchar *memory = m_file.map(0, m_file.size());
    if (!memory)
        fail("the display's memory cannot be mapped");
    const auto word = [memory](DumpWord which) {
        return qFromBigEndian<quint32>(memory + std::size_t(which) * sizeof(quint32));
    };
    const uchar *pixels = memory + word(HeaderSize) + word(ColourCount) * kDumpColourBytes;
    m_pixels = QImage(pixels, kSize.width(), kSize.height(), qsizetype(word(BytesPerLine)),
                      QImage::Format_RGB32);
}

std::optional<qint64> Screen::readStrip()
{
    if (const auto strip = latency_strip::read(m_pixels, m_area, 0))
        return strip;
    constexpr int kStep = 4; // well within the strip's height
    for (int top = 0; top + kPicture.height() <= kSize.height(); top += kStep) {
        const QRect area(QPoint(1, top), kPicture);
        if (const auto strip = latency_strip::read(m_pixels, area, 0)) {
            m_area = area;
            return strip;
        }
    }
    return std::nullopt;
}

} // namespace bench
