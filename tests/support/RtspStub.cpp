#include "RtspStub.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <array>

namespace {

constexpr int kPollMs = 20;

constexpr int kMediaBufferBytes = 4 * 1024 * 1024;

QByteArray description(const QByteArray &encoding)
{
    return "v=0\r\no=- 0 0 IN IP4 127.0.0.1\r\ns=stub\r\nc=IN IP4 127.0.0.1\r\nt=0 0\r\n"
           "m=video 0 RTP/AVP 96\r\na=rtpmap:96 "
           + encoding + "/90000\r\na=fmtp:96 packetization-mode=1\r\na=control:track1\r\n";
}

bool readable(int socket, int waitMs = kPollMs)
{
    pollfd waiting{socket, POLLIN, 0};
    return poll(&waiting, 1, waitMs) > 0;
}

sockaddr_in loopback(int port)
{
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    address.sin_port = htons(quint16(port));
    return address;
}

int boundUdpSocket()
{
    const int udp = socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    setsockopt(udp, SOL_SOCKET, SO_RCVBUF, &kMediaBufferBytes, sizeof kMediaBufferBytes);
    const sockaddr_in any = loopback(0);
    if (bind(udp, reinterpret_cast<const sockaddr *>(&any), sizeof any) != 0)
        qFatal("RtspStub: no port for media");
    return udp;
}

/// The line of a request that begins with `name`, from there to its end.
QByteArray header(const QByteArray &request, const QByteArray &name)
{
    const qsizetype start = request.indexOf("\r\n" + name + ':') + 2;
    return request.mid(start, request.indexOf('\r', start) - start);
}

} // namespace

RtspStub::RtspStub(Manner manner, const QByteArray &encoding)
    : m_manner(manner)
    , m_encoding(encoding)
    , m_media(manner == Manner::Relay ? boundUdpSocket() : -1)
{
    if (!m_server.listen(QHostAddress::LocalHost))
        qFatal("RtspStub: no port");
    m_server.pauseAccepting(); // the thread does
    m_thread = std::thread([this, listener = int(m_server.socketDescriptor())] {
        while (!m_quit) {
            if (!readable(listener))
                continue;
            const int client = accept(listener, nullptr, nullptr);
            converse(client);
            ::close(client);
        }
    });
}

RtspStub::~RtspStub()
{
    m_quit = true;
    m_thread.join();
    if (m_media >= 0)
        ::close(m_media);
}

int RtspStub::mediaPort() const
{
    sockaddr_in address{};
    socklen_t length = sizeof address;
    if (m_media < 0 || getsockname(m_media, reinterpret_cast<sockaddr *>(&address), &length) != 0)
        return -1;
    return ntohs(address.sin_port);
}

QString RtspStub::url() const
{
    return QStringLiteral("rtsp://127.0.0.1:%1/live0").arg(m_server.serverPort());
}

void RtspStub::converse(int client)
{
    std::array<char, 4096> buffer{};
    while (!m_quit) {
        if (m_playing && m_media >= 0)
            relayMedia();
        if (!readable(client, m_playing ? 0 : kPollMs))
            continue;
        const ssize_t count = read(client, buffer.data(), buffer.size());
        if (count <= 0)
            return;
        m_tornDown = m_tornDown || buffer[0] == 'T';
        const QByteArray answer = answerTo(QByteArray(buffer.data(), count));
        if (!answer.isEmpty() && write(client, answer.constData(), size_t(answer.size())) < 0)
            return;
    }
}

void RtspStub::relayMedia()
{
    const sockaddr_in client = loopback(m_clientPort);
    std::array<char, 65536> packet{};
    for (int waitMs = kPollMs; readable(m_media, waitMs) && !m_quit; waitMs = 0) {
        const ssize_t count = recv(m_media, packet.data(), packet.size(), 0);
        const int drop = m_dropEvery;
        if (count > 0 && (drop == 0 || ++m_relayed % drop != 0))
            sendto(m_media, packet.data(), size_t(count), 0,
                   reinterpret_cast<const sockaddr *>(&client), sizeof client);
    }
}

QByteArray RtspStub::answerTo(const QByteArray &request)
{
    const QByteArray method = request.left(request.indexOf(' '));
    if (m_manner == Manner::Silent || (m_manner == Manner::SilentStatus && method != "OPTIONS"))
        return {};
    QByteArray lines = "RTSP/1.0 200 OK\r\n" + header(request, "CSeq") + "\r\n";
    if (method == "OPTIONS")
        return lines + "Public: OPTIONS, DESCRIBE, SETUP, PLAY, TEARDOWN\r\n\r\n";
    const QByteArray sdp = description(m_encoding);
    if (method == "DESCRIBE")
        return lines + "Content-Type: application/sdp\r\nContent-Length: "
               + QByteArray::number(sdp.size()) + "\r\n\r\n" + sdp;
    lines += "Session: 1\r\n";
    if (method == "SETUP") {
        const QByteArray transport = header(request, "Transport");
        const qsizetype port = transport.indexOf("client_port=") + 12;
        m_clientPort = transport.mid(port, transport.indexOf('-', port) - port).toInt();
        lines += transport + ";server_port=50000-50001\r\n";
    }
    if (method == "PLAY")
        m_playing = true;
    return lines + "\r\n";
}
