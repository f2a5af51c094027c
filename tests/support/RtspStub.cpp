#include "RtspStub.h"

#include <QByteArray>
#include <QRegularExpression>

#include <arpa/inet.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <array>

namespace {

constexpr int kPollMs = 20;

const QByteArray kDescription = "v=0\r\n"
                                "o=- 0 0 IN IP4 127.0.0.1\r\n"
                                "s=stub\r\n"
                                "c=IN IP4 127.0.0.1\r\n"
                                "t=0 0\r\n"
                                "m=video 0 RTP/AVP 96\r\n"
                                "a=rtpmap:96 H264/90000\r\n"
                                "a=fmtp:96 packetization-mode=1\r\n"
                                "a=control:track1\r\n";

bool readable(int socket)
{
    pollfd waiting{socket, POLLIN, 0};
    return poll(&waiting, 1, kPollMs) > 0;
}

QByteArray headerValue(const QByteArray &request, const QString &name)
{
    const QRegularExpression line(QStringLiteral("^%1:\\s*([^\r\n]*)").arg(name),
                                  QRegularExpression::MultilineOption
                                      | QRegularExpression::CaseInsensitiveOption);
    return line.match(QString::fromLatin1(request)).captured(1).toLatin1();
}

} // namespace

RtspStub::RtspStub(Manner manner)
    : m_manner(manner)
    , m_listener(socket(AF_INET, SOCK_STREAM, 0))
{
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t length = sizeof address;
    if (bind(m_listener, reinterpret_cast<sockaddr *>(&address), length) != 0
        || listen(m_listener, 4) != 0
        || getsockname(m_listener, reinterpret_cast<sockaddr *>(&address), &length) != 0)
        qFatal("RtspStub: no port");
    m_port = ntohs(address.sin_port);
    m_thread = std::thread([this] { serve(); });
}

RtspStub::~RtspStub()
{
    m_quit = true;
    m_thread.join();
    ::close(m_listener);
}

QString RtspStub::url() const { return QStringLiteral("rtsp://127.0.0.1:%1/live0").arg(m_port); }

void RtspStub::serve()
{
    while (!m_quit) {
        if (!readable(m_listener))
            continue;
        const int client = accept(m_listener, nullptr, nullptr);
        converse(client);
        ::close(client);
    }
}

void RtspStub::converse(int client)
{
    while (!m_quit) {
        if (!readable(client))
            continue;
        std::array<char, 4096> buffer{};
        const ssize_t count = read(client, buffer.data(), buffer.size());
        if (count <= 0)
            return;
        const QByteArray answer = answerTo(QByteArray(buffer.data(), count));
        if (buffer[0] == 'T')
            m_tornDown = true;
        if (!answer.isEmpty() && write(client, answer.constData(), size_t(answer.size())) < 0)
            return;
    }
}

QByteArray RtspStub::answerTo(const QByteArray &request) const
{
    const QByteArray method = request.left(request.indexOf(' '));
    if (m_manner == Manner::Silent
        || (m_manner == Manner::SilentStatus && method != QByteArrayLiteral("OPTIONS")))
        return {};
    QByteArray answer =
        "RTSP/1.0 200 OK\r\nCSeq: " + headerValue(request, QStringLiteral("CSeq")) + "\r\n";
    if (method == "OPTIONS")
        answer += "Public: OPTIONS, DESCRIBE, SETUP, PLAY, TEARDOWN\r\n";
    if (method == "DESCRIBE")
        answer += "Content-Type: application/sdp\r\nContent-Length: "
                  + QByteArray::number(kDescription.size()) + "\r\n";
    if (method == "SETUP")
        answer += "Session: 1\r\nTransport: " + headerValue(request, QStringLiteral("Transport"))
                  + ";server_port=50000-50001\r\n";
    if (method == "PLAY")
        answer += "Session: 1\r\n";
    answer += "\r\n";
    return method == "DESCRIBE" ? answer + kDescription : answer;
}
