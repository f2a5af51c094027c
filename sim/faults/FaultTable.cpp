#include "FaultTable.h"

#include "FaultLines.h"
#include "Simulator.h"

#include <QJsonDocument>

#include <algorithm>
#include <array>
#include <cmath>
#include <optional>

namespace faults {
namespace {

constexpr double kSeekMaxSeconds = 1e7;

std::optional<bool> onOff(Arguments arguments)
{
    if (arguments.value(0) == QLatin1String("on"))
        return true;
    if (arguments.value(0) == QLatin1String("off"))
        return false;
    return std::nullopt;
}

Answer stateLine(Simulator &s, Arguments)
{
    return QString::fromUtf8(QJsonDocument(s.model.toJson()).toJson(QJsonDocument::Compact));
}

Answer frameLine(Simulator &s, Arguments)
{
    QString line = QString::number(s.receivedCount);
    for (const Simulator::ReceivedFrame &frame : s.receivedFrames)
        line +=
            QStringLiteral(" | %1 %2").arg(QString::fromLatin1(frame.bytes.toHex()), frame.meaning);
    return line;
}

Answer clearFrames(Simulator &s, Arguments)
{
    s.receivedFrames.clear();
    s.receivedCount = 0;
    return done();
}

Answer setAttitude(Simulator &s, Arguments a)
{
    bool pitchOk = false;
    bool yawOk = false;
    const double pitch = a.value(0).toDouble(&pitchOk);
    const double yaw = a.value(1).toDouble(&yawOk);
    if (pitchOk && yawOk)
        s.model.placeAt(pitch, yaw);
    return done(pitchOk && yawOk);
}

Answer setZoom(Simulator &s, Arguments a)
{
    bool ok = false;
    const double ratio = a.value(0).toDouble(&ok);
    if (ok)
        s.model.zoomTo(ratio);
    return done(ok);
}

Answer setFormat(Simulator &s, Arguments a)
{
    const auto format = parseVideoFormat(a.value(0), a.value(1), a.value(2));
    if (format && s.pump)
        s.setFormat(*format);
    return done(format && s.pump);
}

Answer dropClients(Simulator &s, Arguments a)
{
    const bool reset = a.value(0) == QLatin1String("rst");
    if (!reset && a.value(0) != QLatin1String("fin"))
        return std::nullopt;
    s.tcp.dropClients(reset ? TcpControlLink::Drop::Reset : TcpControlLink::Drop::Fin);
    return done();
}

Answer setRate(Simulator &s, Arguments a)
{
    const auto rate = number(a, 0, 0, 20000);
    if (rate)
        s.setStatusRate(*rate);
    return done(rate.has_value());
}

Answer setType(Simulator &s, Arguments a)
{
    const bool plain = a.value(0) == QLatin1String("03");
    if (!plain && a.value(0) != QLatin1String("01"))
        return std::nullopt;
    s.setStatusType(plain);
    return done();
}

template<int Outbox::Faults::*member>
Answer setCount(Simulator &s, Arguments a)
{
    const auto value = number(a, 0, 0, 60000);
    if (value)
        s.outbox.faults.*member = *value;
    return done(value.has_value());
}

template<bool Outbox::Faults::*member>
Answer setSwitch(Simulator &s, Arguments a)
{
    const auto on = onOff(a);
    if (on)
        s.outbox.faults.*member = *on;
    return done(on.has_value());
}

Answer sendRaw(Simulator &s, Arguments a)
{
    const QByteArray bytes = QByteArray::fromHex(a.join(QString()).toLatin1());
    if (bytes.isEmpty())
        return std::nullopt;
    s.outbox.put(bytes);
    return done();
}

Answer refuse(Simulator &s, Arguments a)
{
    const auto on = onOff(a);
    return done(on && s.tcp.setRefusing(*on));
}

Answer endVideo(Simulator &s, Arguments)
{
    if (s.pump)
        s.pump->endStreams();
    return done(s.pump != nullptr);
}

template<bool stalled>
Answer stallVideo(Simulator &s, Arguments)
{
    if (s.pump)
        s.pump->setStalled(stalled);
    return done(s.pump != nullptr);
}

Answer killVideo(Simulator &s, Arguments)
{
    if (s.rtsp)
        s.rtsp->kill();
    return done(s.rtsp != nullptr);
}

Answer restartVideo(Simulator &s, Arguments) { return done(s.restartRtsp()); }

Answer stallControl(Simulator &s, Arguments a)
{
    const auto on = onOff(a);
    if (on)
        s.tcp.setReading(!*on);
    return done(on.has_value());
}

template<bool plugged>
Answer plugLine(Simulator &s, Arguments)
{
    return done(s.setPlugged(plugged));
}

Answer resizeVideo(Simulator &s, Arguments a)
{
    const auto format = parseVideoFormat(a.value(0), QStringLiteral("25"), QStringLiteral("h264"));
    if (format && s.pump)
        s.pump->resize(format->size);
    return done(format && s.pump);
}

Answer damageVideo(Simulator &s, Arguments a)
{
    const auto on = onOff(a);
    if (on && s.pump)
        s.pump->garbage = *on;
    return done(on && s.pump);
}

Answer setSession(Simulator &s, Arguments a)
{
    const auto seconds = number(a, 0, 1, 3600);
    if (seconds && s.rtsp)
        s.rtsp->sessionSeconds = *seconds;
    return done(seconds && s.rtsp);
}

Answer mixDataPids(Simulator &s, Arguments a)
{
    const auto on = onOff(a);
    if (on && s.dataPids)
        s.dataPids->setOn(*on);
    return done(on && s.dataPids);
}

template<void (Replay::*set)(bool), bool value>
Answer setReplay(Simulator &s, Arguments)
{
    if (s.replay)
        (s.replay.get()->*set)(value);
    return done(s.replay != nullptr);
}

Answer loopReplay(Simulator &s, Arguments a)
{
    const auto on = onOff(a);
    if (on && s.replay)
        s.replay->setLooping(*on);
    return done(on && s.replay);
}

std::optional<double> decimal(Arguments a)
{
    bool ok = false;
    const double value = a.value(0).toDouble(&ok);
    return ok && std::isfinite(value) ? std::optional(value) : std::nullopt;
}

Answer seekReplay(Simulator &s, Arguments a)
{
    const std::optional<double> seconds = decimal(a);
    const bool isFine = s.replay && seconds && *seconds >= 0 && *seconds <= kSeekMaxSeconds;
    if (isFine)
        s.replay->seek(std::chrono::microseconds(std::llround(*seconds * 1e6)));
    return done(isFine);
}

Answer setReplaySpeed(Simulator &s, Arguments a)
{
    const std::optional<double> speed = decimal(a);
    const bool isFine =
        s.replay && speed && *speed >= ReplayClock::kSpeedMin && *speed <= ReplayClock::kSpeedMax;
    if (isFine)
        s.replay->setSpeed(*speed);
    return done(isFine);
}

Answer replayState(Simulator &s, Arguments)
{
    if (!s.replay)
        return std::nullopt;
    return QString::fromUtf8(QJsonDocument(s.replay->state()).toJson(QJsonDocument::Compact));
}

Answer help(Simulator &, Arguments);

constexpr auto kRows = std::to_array<Row<Simulator>>({
    {"help", "", "list these lines", help},
    {"state", "", "the whole model as JSON", stateLine},
    {"frames", "", "count of command frames and the last of them", frameLine},
    {"clear", "", "forget the frames", clearFrames},
    {"attitude", "PITCH YAW", "jump there, in degrees", setAttitude},
    {"zoom", "RATIO", "jump there", setZoom},
    {"status rate", "HZ", "status frames a second, 0 for none", setRate},
    {"status type", "01|03", "kind of status frame", setType},
    {"control drop", "fin|rst", "cut the TCP clients off", dropClients},
    {"control refuse", "on|off", "close or open the TCP port", refuse},
    {"control stall", "on|off", "stop reading, or go on", stallControl},
    {"control unplug", "", "pull the serial line's plug", plugLine<false>},
    {"control replug", "", "put it back at the same path", plugLine<true>},
    {"control delay", "MS", "hold every outgoing frame back", setCount<&Outbox::Faults::delayMs>},
    {"control corrupt", "N", "damage the next N frames", setCount<&Outbox::Faults::corruptNext>},
    {"control split", "on|off", "each frame in two writes", setSwitch<&Outbox::Faults::split>},
    {"control join", "on|off", "two frames in one write", setSwitch<&Outbox::Faults::join>},
    {"control raw", "HEX", "send these bytes", sendRaw},
    {"video end", "", "end the stream of everyone who watches", endVideo},
    {"video stall", "", "keep the sessions, send nothing", stallVideo<true>},
    {"video resume", "", "go on sending", stallVideo<false>},
    {"video kill", "", "close the RTSP server", killVideo},
    {"video restart", "", "open it again on the same port", restartVideo},
    {"video format", "WxH FPS h264|h265", "cut everyone off and serve this", setFormat},
    {"video resize", "WxH", "go over to this size in mid-stream", resizeVideo},
    {"video garbage", "on|off", "damage every picture on its way", damageVideo},
    {"video session", "SECONDS", "life of a new session whose client is silent", setSession},
    {"replay pause", "", "hold a replay", setReplay<&Replay::setPaused, true>},
    {"replay play", "", "begin it, or go on", setReplay<&Replay::setPaused, false>},
    {"replay seek", "SECONDS", "go to that moment", seekReplay},
    {"replay speed", "FACTOR", "0.1 to 16 times its own pace", setReplaySpeed},
    {"replay loop", "on|off", "begin again at its end", loopReplay},
    {"replay state", "", "where it stands, as JSON", replayState},
    {"video data", "on|off", "mix packets of unknown PIDs into the UDP stream", mixDataPids},
});

Answer help(Simulator &, Arguments) { return listRows(kRows); }

} // namespace

QString execute(Simulator &simulator, const QString &line)
{
    return executeRows(kRows, simulator, line);
}

} // namespace faults
