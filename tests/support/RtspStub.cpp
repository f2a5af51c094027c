#include "RtspStub.h"

#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <array>

namespace {

constexpr int kPollMs = 20;

const QByteArray kDescription =
    "v=0\r\no=- 0 0 IN IP4 127.0.0.1\r\ns=stub\r\nc=IN IP4 127.0.0.1\r\nt=0 0\r\n"
    "m=video 0 RTP/AVP 96\r\na=rtpmap:96 H264/90000\r\na=fmtp:96 packetization-mode=1\r\n"
    "a=control:track1\r\n";

bool readable(int socket)
{
    pollfd waiting{socket, POLLIN, 0};
    return poll(&waiting, 1, kPollMs) > 0;
}

/// The line of a request that begins with `name`, from there to its end.
QByteArray header(const QByteArray &request, const QByteArray &name)
{
    const qsizetype start = request.indexOf("\r\n" + name + ':') + 2;
    return request.mid(start, request.indexOf('\r', start) - start);
}

} // namespace

RtspStub::RtspStub(Manner manner)
    : m_manner(manner)
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
}

QString RtspStub::url() const
{
    return QStringLiteral("rtsp://127.0.0.1:%1/live0").arg(m_server.serverPort());
}

void RtspStub::converse(int client)
{
    std::array<char, 4096> buffer{};
    while (!m_quit) {
        if (!readable(client))
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

QByteArray RtspStub::answerTo(const QByteArray &request) const
{
    const QByteArray method = request.left(request.indexOf(' '));
    if (m_manner == Manner::Silent || (m_manner == Manner::SilentStatus && method != "OPTIONS"))
        return {};
    QByteArray lines = "RTSP/1.0 200 OK\r\n" + header(request, "CSeq") + "\r\n";
    if (method == "OPTIONS")
        return lines + "Public: OPTIONS, DESCRIBE, SETUP, PLAY, TEARDOWN\r\n\r\n";
    if (method == "DESCRIBE")
        return lines + "Content-Type: application/sdp\r\nContent-Length: "
               + QByteArray::number(kDescription.size()) + "\r\n\r\n" + kDescription;
    lines += "Session: 1\r\n";
    if (method == "SETUP")
        lines += header(request, "Transport") + ";server_port=50000-50001\r\n";
    return lines + "\r\n";
}
