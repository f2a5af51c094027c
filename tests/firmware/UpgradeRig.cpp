#include "UpgradeRig.h"

#include <QFile>
#include <QRandomGenerator>
#include <QTcpServer>

#include <algorithm>

using namespace Qt::StringLiterals;

namespace {

QByteArray contentOf(const QString &path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

quint16 closedPort()
{
    QTcpServer server;
    server.listen(QHostAddress::LocalHost, 0);
    return server.serverPort();
}

} // namespace

UpgradeRig::UpgradeRig(const Setup &setup)
    : backend(std::make_unique<CMain>())
    , m_setup(setup)
{
    QFile image(path("image"));
    if (!image.open(QIODevice::WriteOnly) || image.write(setup.image) != setup.image.size())
        qFatal("UpgradeRig: no image");
    image.close();
    QStringList arguments{u"--log"_s,
                          path("log"),
                          u"--upgrade-bootloader"_s,
                          u"--image"_s,
                          path("received"),
                          u"--upgrade-server"_s,
                          path("image"),
                          u"--upgrade-port"_s,
                          u"0"_s,
                          u"--upgrade-ask-delay"_s,
                          QString::number(setup.askDelayMs)};
    for (const QString &fault : setup.faults)
        arguments << u"--fault"_s << fault;
    m_sim.emplace(arguments);
    m_port = m_sim->ptyPath();

    OnlineUpgrade::Environment environment;
    environment.listPorts = [pty = m_port] {
        return QList<SerialPortEntry>{{u"COM7"_s, {}, {}},
                                      {pty, pod_port::kVendorId, pod_port::kProductId}};
    };
    environment.worker = setup.times;
    environment.worker.serverAddress = u"127.0.0.1"_s;
    environment.worker.serverPort = setup.serverReachable ? m_sim->upgradePort() : closedPort();
    backend->onlineUpgrade()->setEnvironment(environment);
    QObject::connect(backend.get(), &CMain::messageChanged, backend.get(),
                     [this](const QString &text) { m_messages.append(text); });
    QObject::connect(backend.get(), &CMain::upgradeProgressChanged, backend.get(),
                     [this](int percent) { progress.append(percent); });
}

bool UpgradeRig::isFinished() const
{
    return backend->upgradeProgress() == UpgradeExchange::kEndMark
           && stage() == UpgradeExchange::Stage::ChunkAccepted && imageArrived();
}

bool UpgradeRig::imageArrived() const { return contentOf(path("received")) == m_setup.image; }

UpgradeExchange::Stage UpgradeRig::stage() const
{
    // Of several, the older ones wait to be deleted.
    const auto workers = backend->findChildren<QtSerialPortThread *>();
    return workers.isEmpty() ? UpgradeExchange::Stage::Idle : workers.constLast()->stage();
}

QStringList UpgradeRig::messages() const
{
    QStringList texts = m_messages;
    return texts.replaceInStrings(m_port, u"P"_s);
}

QStringList UpgradeRig::peerLines(const QString &start) const
{
    QStringList lines = QString::fromUtf8(contentOf(path("log"))).split(u'\n');
    lines.removeIf([&](const QString &line) { return !line.startsWith(start); });
    return lines;
}

QString UpgradeRig::commandTypes() const
{
    QStringList types;
    for (const QString &line : peerLines(u"boot command"_s))
        types.append(line.section(u' ', 2, 2));
    return types.join(u' ');
}

QStringList UpgradeRig::expectedMessages(int chunks)
{
    QStringList texts{u"使用端口:P"_s,
                      u"串口 P 已打开"_s,
                      u"串口 P 发送Bootloader启动报文"_s,
                      u"串口 P 收到下位机UID D0D1D2D3D4D5D6D7D8D9DADBDCDDDEDF"_s,
                      u"串口 P 设定下位机请求延迟 15000"_s,
                      u"串口 P 客户端收到服务器应答"_s,
                      u"串口 P 发送UUID"_s,
                      u"串口 P 发送签名"_s};
    for (int index = 1; index <= chunks; ++index)
        texts.append(u"串口 P 发送固件 %1-%2"_s.arg(index).arg(chunks));
    return texts;
}

QList<int> UpgradeRig::expectedProgress(int chunks)
{
    QList<int> percents{1, 2, 3};
    for (int index = 1; index <= chunks; ++index) {
        const int percent = std::max(index * 100 / chunks, 3);
        if (percent != percents.constLast()) // the backend tells changes only
            percents.append(percent);
    }
    return percents << UpgradeExchange::kEndMark;
}

QByteArray UpgradeRig::randomBytes(qsizetype size)
{
    QRandomGenerator random(quint32(size) + 1U);
    QByteArray bytes;
    for (qsizetype i = 0; i < size; ++i)
        bytes.append(static_cast<char>(random.bounded(256)));
    return bytes;
}
