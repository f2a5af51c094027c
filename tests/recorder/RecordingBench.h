#pragma once

#include "PodSim.h"
#include "recorder/StreamRecorder.h"
#include "video/FFmpegPlayer.h"

#include <QDir>
#include <QTemporaryDir>
#include <QTest>

#include <atomic>
#include <memory>

constexpr int kWaitMs = 20000;

/// Hands everything on, and keeps the pictures' bytes as they are.
class Tee : public PacketSink
{
public:
    explicit Tee(StreamRecorder &recorder)
        : m_recorder(recorder)
    {
    }

    quint64 beginStream(const AVCodecParameters &parameters, AVRational timeBase) override
    {
        m_bytes = QByteArray(reinterpret_cast<const char *>(parameters.extradata),
                             parameters.extradata_size);
        return m_recorder.beginStream(parameters, timeBase);
    }
    void takePacket(quint64 stream, const AVPacket &packet, qint64 arrivedUs) override
    {
        m_bytes.append(reinterpret_cast<const char *>(packet.data), packet.size);
        ++count;
        m_recorder.takePacket(stream, packet, arrivedUs);
    }

    /// Once the player has stopped.
    const QByteArray &bytes() const { return m_bytes; }

    std::atomic<int> count = 0;

private:
    StreamRecorder &m_recorder;
    QByteArray m_bytes;
};

/// A recorder behind a player, with a folder to record to.
struct Bench
{
    QTemporaryDir folder;
    std::shared_ptr<StreamRecorder> recorder = std::make_shared<StreamRecorder>();
    std::shared_ptr<Tee> tee = std::make_shared<Tee>(*recorder);
    FFmpegPlayer player;

    Bench() { player.setPacketSink(tee); }
    void start() { recorder->start({.folder = folder.path()}); }
    bool play(const QString &url)
    {
        if (!player.open(url))
            return false;
        player.play();
        return true;
    }
    bool plays(int pictures)
    {
        return QTest::qWaitFor([&, until = tee->count + pictures] { return tee->count >= until; },
                               kWaitMs);
    }
    QStringList files() const
    {
        QStringList paths;
        for (const QString &name :
             QDir(folder.path()).entryList({QStringLiteral("*.ts")}, QDir::Files))
            paths.append(folder.filePath(name));
        return paths;
    }
};
