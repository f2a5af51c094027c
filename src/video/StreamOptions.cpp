#include "StreamOptions.h"

namespace stream_options {
namespace {

constexpr unsigned kFormatMajorOfRtspTimeoutRename = 59;

// Large socket buffers and a patient probe: a unicast transport stream has no handshake that would
// tell what it carries.
QList<Option> udpOptions()
{
    return {
        {"buffer_size", "8192000"}, {"rcvbuf", "16777216"},
        {"timeout", "10000000"},    {"reuse", "1"},
        {"probesize", "10000000"},  {"analyzeduration", "5000000"},
    };
}

// Latency before smoothness.
QList<Option> rtspOptions(const Settings &settings, unsigned formatMajor)
{
    const QByteArray timeout = QByteArray::number(settings.timeoutUs);
    QList<Option> options = {
        {"rtsp_transport", settings.rtspTransport.toUtf8()},
        {"stimeout", timeout},
        {"buffer_size", QByteArray::number(settings.bufferSizeBytes)},
        {"max_delay", QByteArray::number(settings.maxDelayUs)},
        {"fflags", "nobuffer"},
        {"flags", "low_delay"},
        {"avioflags", "direct"},
        {"probesize", "5000000"},
        {"analyzeduration", "500000"},
        {"framedrop", "1"},
    };
    if (formatMajor >= kFormatMajorOfRtspTimeoutRename)
        options.append({"timeout", timeout});
    return options;
}

} // namespace

bool isUdpUrl(const QString &url) { return url.startsWith(QLatin1String("udp://")); }

QList<Option> optionsFor(const QString &url, const Settings &settings, unsigned formatMajor)
{
    if (isUdpUrl(url))
        return udpOptions();
    if (url.startsWith(QLatin1String("rtsp://")))
        return rtspOptions(settings, formatMajor);
    return {{"buffer_size", QByteArray::number(settings.bufferSizeBytes)},
            {"timeout", QByteArray::number(settings.timeoutUs)}};
}

} // namespace stream_options
