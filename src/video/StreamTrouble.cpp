#include "StreamTrouble.h"

#include "FFmpegPointers.h"

#include <QHostInfo>
#include <QUrl>

#include <algorithm>
#include <array>
#include <utility>

namespace {

constexpr std::array kTroubles = {
    std::pair{AVERROR(ECONNREFUSED), StreamTrouble::ConnectionRefused},
    std::pair{AVERROR_HTTP_UNAUTHORIZED, StreamTrouble::WrongPassword},
    std::pair{AVERROR_HTTP_FORBIDDEN, StreamTrouble::WrongPassword},
    std::pair{AVERROR_HTTP_NOT_FOUND, StreamTrouble::NoSuchStream},
    std::pair{AVERROR(ENOENT), StreamTrouble::NoSuchStream},
    std::pair{AVERROR_HTTP_SERVER_ERROR, StreamTrouble::ServerBusy},
    std::pair{AVERROR(EHOSTUNREACH), StreamTrouble::Unreachable},
    std::pair{AVERROR(ENETUNREACH), StreamTrouble::Unreachable},
    std::pair{AVERROR(ENETDOWN), StreamTrouble::Unreachable},
    std::pair{AVERROR(ETIMEDOUT), StreamTrouble::NoAnswer},
    std::pair{AVERROR(ECONNRESET), StreamTrouble::HungUp},
    std::pair{AVERROR(EPIPE), StreamTrouble::HungUp},
    std::pair{AVERROR_EOF, StreamTrouble::HungUp},
    std::pair{AVERROR(EIO), StreamTrouble::HungUp},
    std::pair{AVERROR(EPROTONOSUPPORT), StreamTrouble::UnsupportedTransport},
    std::pair{AVERROR_PROTOCOL_NOT_FOUND, StreamTrouble::UnknownAddress},
    std::pair{AVERROR_INVALIDDATA, StreamTrouble::NotUnderstood},
    std::pair{AVERROR_STREAM_NOT_FOUND, StreamTrouble::NoVideo},
    std::pair{AVERROR_DECODER_NOT_FOUND, StreamTrouble::CannotDecode},
};

// Socket errors of Windows that FFmpeg does not translate.
constexpr std::array kWinsockErrors = {
    std::pair{-10050, AVERROR(ENETDOWN)},     std::pair{-10051, AVERROR(ENETUNREACH)},
    std::pair{-10052, AVERROR(ECONNRESET)},   std::pair{-10053, AVERROR(ECONNRESET)},
    std::pair{-10054, AVERROR(ECONNRESET)},   std::pair{-10058, AVERROR(EPIPE)},
    std::pair{-10064, AVERROR(EHOSTUNREACH)}, std::pair{-10065, AVERROR(EHOSTUNREACH)},
};

constexpr std::array kNetworkErrors = {AVERROR(EIO), AVERROR(ETIMEDOUT), AVERROR(ENETUNREACH),
                                       AVERROR(ENETDOWN), AVERROR(ECONNRESET)};

// The words of StreamTrouble, in its order.
constexpr std::array kKeys = {
    "",
    "refused",
    "password",
    "noStream",
    "busy",
    "unknownHost",
    "unreachable",
    "noAnswer",
    "hungUp",
    "transport",
    "unknownAddress",
    "notUnderstood",
    "cannotDecode",
    "noVideo",
    "nothingArrives",
    "noNewPicture",
    "other",
};

bool isUnknownHost(const QString &url)
{
    const QString host = QUrl(url).host();
    return !host.isEmpty() && QHostInfo::fromName(host).error() != QHostInfo::NoError;
}

} // namespace

int portableError(int code)
{
    const auto *found =
        std::ranges::find(kWinsockErrors, code, [](const auto &row) { return row.first; });
    return found == kWinsockErrors.end() ? code : found->second;
}

bool isNetworkError(int code)
{
    return std::ranges::find(kNetworkErrors, portableError(code)) != kNetworkErrors.end();
}

QString keyOf(StreamTrouble trouble)
{
    return QString::fromLatin1(kKeys.at(static_cast<size_t>(trouble)));
}

StreamTrouble troubleOf(int code, const QString &url)
{
    code = portableError(code);
    if (code == AVERROR(EIO) && isUnknownHost(url))
        return StreamTrouble::UnknownHost;
    const auto *found =
        std::ranges::find(kTroubles, code, [](const auto &row) { return row.first; });
    return found == kTroubles.end() ? StreamTrouble::Other : found->second;
}
