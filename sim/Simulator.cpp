#include "Simulator.h"

#include "control/ReplyFrames.h"
#include "faults/FaultTable.h"
#include "protocol/InboundFrames.h"

#include <QDateTime>
#include <cstdio>

#include <algorithm>
#include <array>

namespace {

constexpr int kStepMs = 10;
constexpr int kFrameGapMs = 4; // between two frames, where the rate leaves room for it
constexpr int kGapUpToRateHz = 100;
// Of the encoder's values.
constexpr auto kResolution =
    std::size_t(protocol::b7n_offset::Resolution - protocol::b7n_offset::Address);
constexpr auto kEncodeType =
    std::size_t(protocol::b7n_offset::EncodeType - protocol::b7n_offset::Address);
constexpr std::array kFrequencies = {25, 50, 10, 5, 1}; // by the command's index

} // namespace

Simulator::Simulator(const SimOptions &options, QObject *parent)
    : QObject(parent)
    , m_options(options)
    , m_interpreter(model,
                    {[this](Interpreter::Query query) { answer(query); },
                     [this](bool plain) { setStatusType(plain); },
                     [this](int index) {
                         model.statusFrequency = index;
                         setStatusRate(
                             kFrequencies[std::min(std::size_t(index), kFrequencies.size() - 1)]);
                     },
                     [this] { restartRtsp(); }, [this] { setEncoder(); }})
{
    model.modelCode = options.modelCode;
    tellEncoder(options.format);
    addLink(tcp);
    addLink(m_pty);
    m_stepTimer.setTimerType(Qt::PreciseTimer);
    m_statusTimer.setTimerType(Qt::PreciseTimer);
    connect(&m_stepTimer, &QTimer::timeout, this, &Simulator::stepModel);
    connect(&m_statusTimer, &QTimer::timeout, this, &Simulator::sendStatus);
}

bool Simulator::start(QString &error)
{
    if (!m_options.logFile.isEmpty()) {
        m_log.setFileName(m_options.logFile);
        if (!m_log.open(QIODevice::WriteOnly | QIODevice::Append)) {
            error = QStringLiteral("cannot write %1").arg(m_options.logFile);
            return false;
        }
    }
    if (!tcp.listen(m_options.bindAddress, m_options.controlPort)) {
        error =
            QStringLiteral("control port %1: %2").arg(m_options.controlPort).arg(tcp.errorString());
        return false;
    }
    if (m_options.pty && !m_pty.open(m_options.ptyLink, error))
        return false;
    if (!m_options.replayFile.isEmpty() && !startReplay(error))
        return false;
    if (m_options.video && !startVideo(error))
        return false;
    if (replay) {
        outbox.setGap(kFrameGapMs);
        return true;
    }
    m_sinceStep.start();
    m_stepTimer.start(kStepMs);
    setStatusRate(m_options.statusRateHz);
    return true;
}

bool Simulator::startReplay(QString &error)
{
    std::optional<Recording> recording = readRecording(m_options.replayFile, error);
    if (!recording)
        return false;
    if (!recording->lacks.isEmpty())
        log(recording->lacks);
    m_options.video = m_options.video && !recording->keys.isEmpty();
    const auto begins =
        m_options.udpHost.isEmpty() ? Replay::Begins::WithPipeline : Replay::Begins::WhenTold;
    // The replay calls from a thread of its own.
    const auto queued = [this](auto call) {
        QMetaObject::invokeMethod(this, std::move(call), Qt::QueuedConnection);
    };
    replay = std::make_unique<Replay>(
        std::move(*recording), begins,
        Replay::Handlers{[this, queued](const protocol::StatusFrame &status) {
                             queued([this, status] { sendReplayed(status); });
                         },
                         [this, queued] { queued([this] { serveNewCodec(); }); }});
    return true;
}

VideoFeed &Simulator::feed() const
{
    return replay ? static_cast<VideoFeed &>(*replay) : static_cast<VideoFeed &>(*pump);
}

void Simulator::serveNewCodec()
{
    QString error;
    if (rtsp)
        rtsp->applyFormat();
    startUdp(error);
    if (!error.isEmpty())
        log(error);
}

void Simulator::startUdp(QString &error)
{
    if (m_options.udpHost.isEmpty())
        return;
    udp.reset();
    udp = std::make_unique<UdpSender>(feed(), m_options.udpHost, m_options.udpPort);
    error = udp->errorString();
}

bool Simulator::startVideo(QString &error)
{
    if (!replay)
        pump = std::make_unique<FramePump>(m_options.format);
    rtsp = std::make_unique<RtspServer>(feed(), m_options.bindAddress, m_options.rtspPath);
    rtsp->tcpOnly = m_options.rtspTcpOnly;
    if (!rtsp->start(m_options.rtspPort)) {
        error = QStringLiteral("cannot listen on RTSP port %1").arg(m_options.rtspPort);
        return false;
    }
    startUdp(error);
    if (udp) {
        dataPids = std::make_unique<DataPids>(QHostAddress(m_options.udpHost), m_options.udpPort);
    }
    return error.isEmpty();
}

QStringList Simulator::endpoints() const
{
    QStringList lines = {
        QStringLiteral("control tcp %1:%2").arg(m_options.bindAddress.toString()).arg(tcp.port())};
    if (m_options.pty)
        lines.append(QStringLiteral("control pty %1").arg(m_pty.slavePath()));
    if (rtsp)
        lines.append(QStringLiteral("video %1").arg(rtsp->url()));
    if (udp)
        lines.append(
            QStringLiteral("video udp://%1:%2").arg(m_options.udpHost).arg(m_options.udpPort));
    return lines;
}

void Simulator::addLink(ControlLink &link)
{
    auto reader = std::make_unique<FrameReader>(FrameReader::Handlers{
        [this](const QByteArray &frame) { handleFrame(frame); },
        [this](const QByteArray &bytes, const char *reason) {
            log(QStringLiteral("rejected %1: %2")
                    .arg(QString::fromLatin1(bytes.toHex(' ')), QString::fromLatin1(reason)));
        }});
    connect(&link, &ControlLink::received, this,
            [reader = reader.get()](const QByteArray &bytes) { reader->feed(bytes); });
    connect(&link, &ControlLink::clientChanged, this, [this, &link, reader = reader.get()] {
        reader->clear();
        log(link.hasClient() ? QStringLiteral("console connected")
                             : QStringLiteral("console disconnected"));
        // Who watches over UDP cannot be seen: the link is the only sign.
        if (replay && link.hasClient() && (!rtsp || udp))
            replay->begin();
    });
    connect(&outbox, &Outbox::write, &link, &ControlLink::send);
    m_readers.push_back(std::move(reader));
}

void Simulator::handleFrame(const QByteArray &frame)
{
    QString meaning = m_interpreter.execute(frame);
    if (meaning.isEmpty())
        meaning = QStringLiteral("unknown command");
    ++receivedCount;
    receivedFrames.append({QDateTime::currentMSecsSinceEpoch(), frame, meaning});
    if (receivedFrames.size() > kReceivedKept)
        receivedFrames.removeFirst();
    log(QStringLiteral("received %1: %2").arg(QString::fromLatin1(frame.toHex(' ')), meaning));
}

void Simulator::answer(Interpreter::Query query)
{
    switch (query) {
    case Interpreter::Query::Sbus:
        outbox.put(replies::sbus(model));
        break;
    case Interpreter::Query::Version:
        if (const QByteArray reply = versionReply(); !reply.isEmpty())
            outbox.put(reply);
        break;
    case Interpreter::Query::B7N:
        outbox.put(m_options.b7nAddressOnly ? replies::b7nAddress(model) : replies::b7n(model));
        break;
    }
}

/// None in a replay whose recording does not tell it.
QByteArray Simulator::versionReply() const
{
    return replay ? replies::version(replay->recording().version) : replies::version(model);
}

void Simulator::stepModel()
{
    model.step(double(m_sinceStep.nsecsElapsed()) * 1e-9);
    m_sinceStep.restart();
    if (pump)
        pump->setView(view());
}

SceneView Simulator::view() const
{
    return {model.yawDegrees(), model.pitchDegrees(), model.horizontalFieldOfView(),
            model.zoomRatio,    model.pictureMode,    model.palette,
            model.osd,          model.recording,      model.tracking,
            model.trackPoint};
}

void Simulator::setStatusRate(int hz)
{
    m_options.statusRateHz = hz;
    outbox.setGap(hz <= kGapUpToRateHz ? kFrameGapMs : 0);
    if (hz == 0 || replay)
        m_statusTimer.stop();
    else
        m_statusTimer.start(std::max(1000 / hz, 1));
}

void Simulator::setStatusType(bool plain) { m_options.plainStatus = plain; }

void Simulator::sendStatus()
{
    // Above a thousand a second the timer cannot tick fast enough: several frames each tick.
    const int frames = std::max(m_options.statusRateHz / 1000, 1);
    if (!tcp.hasClient() && !m_pty.hasClient())
        return;
    for (int i = 0; i < frames; ++i)
        outbox.put(replies::status(model, m_options.plainStatus));
}

void Simulator::sendReplayed(protocol::StatusFrame status)
{
    if (m_options.plainStatus)
        status.camera.reset();
    outbox.put(replies::status(status));
}

void Simulator::setFormat(const VideoFormat &format)
{
    udp.reset(); // it could not read the new pictures
    pump->setFormat(format);
    tellEncoder(format);
    serveNewCodec();
}

void Simulator::tellEncoder(const VideoFormat &format)
{
    model.b7n[kResolution] = format.resolutionCode();
    model.b7n[kEncodeType] = format.codecCode();
}

/// Takes effect at once, as if the pod were restarted for it.
void Simulator::setEncoder()
{
    if (!pump)
        return;
    VideoFormat format = pump->format();
    if (format.setCodes(model.b7n[kResolution], model.b7n[kEncodeType]))
        setFormat(format);
}

bool Simulator::restartRtsp()
{
    if (!rtsp)
        return false;
    rtsp->kill();
    return rtsp->start(0);
}

bool Simulator::setPlugged(bool plugged)
{
    QString error;
    m_pty.hangUp();
    return m_options.pty && (!plugged || m_pty.open(m_options.ptyLink, error));
}

QString Simulator::execute(const QString &faultLine) { return faults::execute(*this, faultLine); }

void Simulator::log(const QString &line)
{
    const QByteArray text =
        QDateTime::currentDateTime().toString(QStringLiteral("hh:mm:ss.zzz ")).toUtf8()
        + line.toUtf8() + '\n';
    if (m_log.isOpen()) {
        m_log.write(text);
        m_log.flush();
    } else {
        std::fputs(text.constData(), stderr);
    }
}
