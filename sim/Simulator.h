#pragma once

#include "SimMode.h"
#include "SimOptions.h"
#include "control/FrameReader.h"
#include "control/Interpreter.h"
#include "control/Outbox.h"
#include "control/PtyControlLink.h"
#include "control/TcpControlLink.h"
#include "model/PodModel.h"
#include "replay/Replay.h"
#include "video/DataPids.h"
#include "video/FramePump.h"
#include "video/RtspServer.h"
#include "video/UdpSender.h"

#include <QElapsedTimer>
#include <QFile>
#include <QObject>
#include <QTimer>

#include <memory>
#include <vector>

/// The whole pod: one model, the links to it, its status frames and its video. Runs on one thread
/// but for the video.
class Simulator : public QObject, public SimMode
{
    Q_OBJECT

public:
    explicit Simulator(const SimOptions &options, QObject *parent = nullptr);

    bool start(QString &error) override;
    QStringList endpoints() const override;
    QString execute(const QString &faultLine) override;

    // What the fault switches work on.
    PodModel model;
    Outbox outbox;
    TcpControlLink tcp;
    std::unique_ptr<FramePump> pump; ///< null without video, as the next, and in a replay
    std::unique_ptr<Replay> replay;  ///< null but in one
    std::unique_ptr<RtspServer> rtsp;
    std::unique_ptr<UdpSender> udp;
    std::unique_ptr<DataPids> dataPids; ///< null where nothing is sent over UDP

    void setStatusRate(int hz);
    void setStatusType(bool plain);
    /// Clients are cut off and get the new format when they come back; over UDP it just follows.
    void setFormat(const VideoFormat &format);
    bool restartRtsp();
    /// Pulls the serial line's plug, or puts it back where it was. False without a serial line.
    bool setPlugged(bool plugged);

    struct ReceivedFrame
    {
        qint64 atMs; ///< since the epoch
        QByteArray bytes;
        QString meaning;
    };
    QList<ReceivedFrame> receivedFrames; ///< the newest kReceivedKept
    qint64 receivedCount = 0;
    static constexpr qsizetype kReceivedKept = 200;

    void log(const QString &line);

private:
    void addLink(ControlLink &link);
    void handleFrame(const QByteArray &frame);
    void answer(Interpreter::Query query);
    void stepModel();
    void sendStatus();
    void sendReplayed(protocol::StatusFrame status);
    QByteArray versionReply() const;
    bool startReplay(QString &error);
    void tellEncoder(const VideoFormat &format);
    void setEncoder();
    void serveNewCodec();
    void startUdp(QString &error);
    VideoFeed &feed() const;
    SceneView view() const;
    bool startVideo(QString &error);

    SimOptions m_options;
    PtyControlLink m_pty;
    Interpreter m_interpreter;
    std::vector<std::unique_ptr<FrameReader>> m_readers;
    QTimer m_stepTimer;
    QTimer m_statusTimer;
    QElapsedTimer m_sinceStep;
    QFile m_log;
};
