#include "PacketSender.h"

#include "PacketFile.h"
#include "RtpPackets.h"

#include <QFile>
#include <QFileInfo>
#include <QTcpSocket>
#include <QTimer>
#include <QtEndian>

#include <memory>

#include <sys/socket.h>

namespace {

constexpr qsizetype kFrameHeader = 4;       // of what RTSP interleaves
constexpr const char *kAddress = "address"; // the property of a client

constexpr QLatin1String kCutSuffix(".rtp");

using Codec = unit_stream::Codec;

bool isCut(const QUrl &url) { return url.fileName().endsWith(kCutSuffix); }

std::optional<Codec> codecOf(const QUrl &url)
{
    QString name = url.fileName();
    if (isCut(url))
        name.chop(kCutSuffix.size());
    const QString suffix = QFileInfo(name).suffix();
    return suffix == QLatin1String("h264")   ? std::optional(Codec::H264)
           : suffix == QLatin1String("h265") ? std::optional(Codec::H265)
                                             : std::nullopt;
}

/// What the description says of the payload.
QByteArray mediaOf(const SenderManner &manner, Codec codec)
{
    const int type =
        manner.pesBytes > 0 ? RtpPackets::kTransportStreamType : RtpPackets::kUnitsType;
    QByteArray media = "m=video 0 RTP/AVP " + QByteArray::number(type) + "\r\n";
    if (manner.pesBytes > 0)
        return media;
    return media
           + (codec == Codec::H264 ? "a=rtpmap:96 H264/90000\r\na=fmtp:96 packetization-mode=1\r\n"
                                   : "a=rtpmap:96 H265/90000\r\n");
}

QByteArray header(const QByteArray &request, const QByteArray &name)
{
    const qsizetype start = request.indexOf("\r\n" + name + ':');
    const qsizetype from = start + 3 + name.size();
    return start < 0 ? QByteArray()
                     : request.mid(from, request.indexOf('\r', from) - from).trimmed();
}

QByteArray interleaved(const QByteArrayList &packets)
{
    QByteArray bytes;
    for (const QByteArray &packet : packets)
        bytes += QByteArray("$\0", 2) + packet_file::write({packet});
    return bytes;
}

/// The next request, taken off `bytes`; empty while it is not whole.
QByteArray takeRequest(QByteArray &bytes)
{
    while (bytes.startsWith('$') && bytes.size() >= kFrameHeader) {
        const qsizetype frame = kFrameHeader + qFromBigEndian<quint16>(bytes.constData() + 2);
        if (bytes.size() < frame)
            return {};
        bytes.remove(0, frame); // a client's report of what it received
    }
    const qsizetype end = bytes.indexOf("\r\n\r\n");
    if (end < 0 || bytes.startsWith('$'))
        return {};
    QByteArray request = bytes.left(end + 2);
    bytes.remove(0, end + 4);
    return request;
}

/// The client's own end closes the connection: what it has not read yet must not be lost.
void endSending(QTcpSocket *client)
{
    client->flush();
    if (client->bytesToWrite() == 0)
        ::shutdown(int(client->socketDescriptor()), SHUT_WR);
}

} // namespace

PacketSender::PacketSender(const Options &options)
    : m_options(options)
{
    QObject::connect(&m_server, &QTcpServer::newConnection, &m_server,
                     [this] { serve(m_server.nextPendingConnection()); });
}

bool PacketSender::start(QString &error)
{
    if (m_server.listen(m_options.bindAddress, m_options.port))
        return true;
    error = QStringLiteral("RTSP port %1: %2").arg(m_options.port).arg(m_server.errorString());
    return false;
}

QStringList PacketSender::endpoints() const
{
    return {QStringLiteral("video rtsp: rtsp://%1:%2/")
                .arg(m_server.serverAddress().toString())
                .arg(m_server.serverPort())};
}

QString PacketSender::execute(const QString &) { return QStringLiteral("error no faults here"); }

void PacketSender::serve(QTcpSocket *client)
{
    const auto received = std::make_shared<QByteArray>();
    QObject::connect(client, &QTcpSocket::readyRead, client, [=, this] {
        *received += client->readAll();
        for (QByteArray request; !(request = takeRequest(*received)).isEmpty();)
            answer(client, request);
    });
    QObject::connect(client, &QTcpSocket::disconnected, client, &QObject::deleteLater);
}

void PacketSender::answer(QTcpSocket *client, const QByteArray &request)
{
    const QByteArrayList words = request.left(request.indexOf('\r')).split(' ');
    const QByteArray &method = words[0];
    QByteArray status = "200 OK";
    QByteArray rest = "\r\n";
    if (method == "OPTIONS") {
        rest = "Public: DESCRIBE, SETUP, PLAY, TEARDOWN\r\n\r\n";
    } else if (method == "DESCRIBE") {
        rest = describe(client, words.value(1));
        if (rest.isEmpty()) {
            status = "404 Not Found";
            rest = "\r\n";
        }
    } else if (method == "SETUP" && !header(request, "Transport").contains("TCP")) {
        status = "461 Unsupported Transport";
    } else if (method == "SETUP") {
        rest = "Transport: " + header(request, "Transport") + "\r\n\r\n";
    }
    client->write("RTSP/1.0 " + status + "\r\nCSeq: " + header(request, "CSeq")
                  + "\r\nSession: 1\r\n" + rest);
    if (method == "PLAY")
        play(client);
}

QByteArray PacketSender::describe(QTcpSocket *client, const QByteArray &address) const
{
    const QUrl url = QUrl::fromEncoded(address);
    const std::optional<Codec> codec = codecOf(url);
    const std::optional<SenderManner> manner = parseSenderManner(QUrlQuery(url));
    if (!codec || !manner || !QDir(m_options.folder).exists(url.fileName()))
        return {};
    client->setProperty(kAddress, url);
    const QByteArray sdp = "v=0\r\no=- 0 0 IN IP4 127.0.0.1\r\ns=podsim\r\n"
                           "c=IN IP4 0.0.0.0\r\nt=0 0\r\n"
                           + mediaOf(*manner, *codec) + "a=control:track1\r\n";
    return "Content-Type: application/sdp\r\nContent-Length: " + QByteArray::number(sdp.size())
           + "\r\n\r\n" + sdp;
}

void PacketSender::play(QTcpSocket *client) const
{
    const QUrl url = client->property(kAddress).toUrl();
    const auto pictures = std::make_shared<QList<QByteArrayList>>(packetsOf(url));
    const SenderManner manner = parseSenderManner(QUrlQuery(url)).value_or(SenderManner());
    QObject::connect(client, &QTcpSocket::bytesWritten, client, [=] {
        if (pictures->isEmpty())
            endSending(client);
    });
    if (!manner.paced) {
        const QList<QByteArrayList> all = std::exchange(*pictures, {});
        for (const QByteArrayList &picture : all)
            client->write(interleaved(picture));
        return;
    }
    auto *pace = new QTimer(client);
    pace->setTimerType(Qt::PreciseTimer);
    QObject::connect(pace, &QTimer::timeout, client, [=] {
        if (!pictures->isEmpty())
            client->write(interleaved(pictures->takeFirst()));
    });
    pace->start(1000 / manner.fps);
}

QList<QByteArrayList> PacketSender::packetsOf(const QUrl &url) const
{
    QFile file(QDir(m_options.folder).filePath(url.fileName()));
    const std::optional<Codec> codec = codecOf(url);
    const std::optional<SenderManner> manner = parseSenderManner(QUrlQuery(url));
    if (!codec || !manner || !file.open(QIODevice::ReadOnly))
        return {};
    if (isCut(url))
        return {packet_file::read(file.readAll())};
    return RtpPackets(*manner).of(file.readAll(), *codec);
}
