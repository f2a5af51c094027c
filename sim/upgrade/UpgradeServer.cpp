#include "UpgradeServer.h"

#include <QFile>
#include <QTcpSocket>
#include <QTimer>
#include <QtEndian>

#include <utility>

namespace {

constexpr quint32 kMagic = 0xFC55AA33;
constexpr qsizetype kHeaderLength = 8; // bytes
constexpr quint32 kReplyCode = 0x00004001;
constexpr quint32 kUnknownCode = 7;
constexpr int kPieceGapMs = 2;
constexpr int kAfterBadMagicMs = 100; // so that the good packet comes in a read of its own

QByteArray little(quint32 value)
{
    QByteArray bytes(sizeof value, Qt::Uninitialized);
    qToLittleEndian(value, bytes.data());
    return bytes;
}

QByteArray packet(const QByteArray &payload, quint32 magic = kMagic)
{
    return little(magic) + little(quint32(payload.size())) + payload;
}

QByteArray rising(int first, int count)
{
    QByteArray bytes;
    for (int i = 0; i < count; ++i)
        bytes.append(char(first + i));
    return bytes;
}

} // namespace

UpgradeServer::UpgradeServer(const UpgradeOptions &options, Log log, QObject *parent)
    : QObject(parent)
    , m_options(options)
    , m_log(std::move(log))
{
    connect(&m_server, &QTcpServer::newConnection, this, &UpgradeServer::takeClient);
}

bool UpgradeServer::listen(QString &error)
{
    QFile file(m_options.serverFile);
    if (!file.open(QIODevice::ReadOnly)) {
        error = QStringLiteral("%1: %2").arg(m_options.serverFile, file.errorString());
        return false;
    }
    m_image = file.readAll();
    if (m_server.listen(m_options.bindAddress, m_options.serverPort))
        return true;
    error =
        QStringLiteral("upgrade port %1: %2").arg(m_options.serverPort).arg(m_server.errorString());
    return false;
}

bool UpgradeServer::addFault(const QString &line)
{
    static const QStringList kPlain = {QStringLiteral("magic"), QStringLiteral("join"),
                                       QStringLiteral("short"), QStringLiteral("silent"),
                                       QStringLiteral("disconnect")};
    const QStringList words = line.split(u' ', Qt::SkipEmptyParts);
    bool ok = true;
    if (words.value(0) == QLatin1String("split"))
        m_pieceLength = words.value(1).toInt(&ok);
    else if (words.value(0) == QLatin1String("hangup"))
        m_hangups = words.value(1).toInt(&ok);
    else if (words.value(0) == QLatin1String("code") || kPlain.contains(line))
        m_nextFault = line;
    else
        return false;
    return ok;
}

void UpgradeServer::takeClient()
{
    QTcpSocket *client = m_server.nextPendingConnection();
    m_log(QStringLiteral("client connected"));
    connect(client, &QTcpSocket::disconnected, this, [this, client] {
        m_log(QStringLiteral("client gone"));
        client->deleteLater();
    });
    if (m_hangups > 0) {
        --m_hangups;
        client->disconnectFromHost();
        return;
    }
    connect(client, &QTcpSocket::readyRead, this, [this, client] { takeBytes(client); });
}

void UpgradeServer::takeBytes(QTcpSocket *client)
{
    while (client->bytesAvailable() >= kHeaderLength) {
        const QByteArray header = client->peek(kHeaderLength);
        const auto magic = qFromLittleEndian<quint32>(header.constData());
        const auto length = qFromLittleEndian<quint32>(header.constData() + sizeof magic);
        if (magic != kMagic || length > 1024) {
            m_log(QStringLiteral("error: header %1").arg(QString::fromLatin1(header.toHex())));
            client->abort();
            return;
        }
        if (client->bytesAvailable() < kHeaderLength + qsizetype(length))
            return;
        client->skip(kHeaderLength);
        takePacket(client, client->read(length));
    }
}

void UpgradeServer::takePacket(QTcpSocket *client, const QByteArray &payload)
{
    m_log(QStringLiteral("message ") + QString::fromLatin1(payload.toHex()));
    if (!payload.startsWith(little(1)) || payload.size() != 20) {
        m_log(QStringLiteral("error: not a UID message"));
        return;
    }
    reply(client);
}

void UpgradeServer::reply(QTcpSocket *client)
{
    const QByteArray body = little(kReplyCode) + rising(0xA0, 16) + rising(0x40, 64) + m_image;
    const QString fault = std::exchange(m_nextFault, {});
    const QString kind = fault.section(u' ', 0, 0);
    if (kind == QLatin1String("silent"))
        return;
    if (kind == QLatin1String("disconnect")) {
        client->disconnectFromHost();
    } else if (kind == QLatin1String("code")) {
        send(client, packet(little(fault.section(u' ', 1).toUInt(nullptr, 16))));
    } else if (kind == QLatin1String("short")) {
        send(client, packet(body.first(83)));
    } else if (kind == QLatin1String("join")) {
        send(client, packet(little(kUnknownCode)) + packet(body));
    } else if (kind == QLatin1String("magic")) {
        send(client, packet(little(kReplyCode), ~kMagic));
        QTimer::singleShot(kAfterBadMagicMs, client,
                           [this, client, body] { send(client, packet(body)); });
    } else {
        send(client, packet(body));
    }
}

void UpgradeServer::send(QTcpSocket *client, const QByteArray &bytes)
{
    const qsizetype length = m_pieceLength > 0 ? m_pieceLength : bytes.size();
    client->write(bytes.first(qMin(length, bytes.size())));
    client->flush();
    if (length < bytes.size())
        QTimer::singleShot(kPieceGapMs, client,
                           [this, client, rest = bytes.sliced(length)] { send(client, rest); });
}
