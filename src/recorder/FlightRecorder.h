#pragma once

#include "RecordingStatus.h"
#include "Snapshot.h"
#include "klv/UasDatalink.h"
#include "protocol/InboundFrames.h"

#include <QElapsedTimer>
#include <QJsonObject>
#include <QObject>
#include <QPointer>
#include <QTimer>

#include <memory>

class CMain;
class StreamRecorder;
class VideoRenderer;

/// The recording on this computer, as QML knows it: what the video item receives and what passes
/// between console and pod goes to the StreamRecorder, all the time, so that a recording begins
/// before its start. GUI thread only; no call waits for the disk.
///
/// A recording goes on over losses and new streams until stop(), or until a trouble ends it, which
/// is told by `trouble` and stands there until the next start.
class FlightRecorder : public QObject
{
    Q_OBJECT

    /// The CMain whose frames go into the recording, and the VideoRenderer whose stream does. The
    /// item hands its stream over from its next play() on.
    Q_PROPERTY(QObject *backend READ backend WRITE setBackend NOTIFY backendChanged)
    Q_PROPERTY(QObject *video READ video WRITE setVideo NOTIFY videoChanged)

    /// Empty for the folder "podconsole" among the user's videos. What is set while a recording
    /// runs counts from the next one on, but for the seconds, which count at once.
    Q_PROPERTY(QString folder READ folder WRITE setFolder NOTIFY optionsChanged)
    Q_PROPERTY(int secondsBefore READ secondsBefore WRITE setSecondsBefore NOTIFY optionsChanged)
    /// Of all recordings in the folder, in GB of 10^9 bytes.
    Q_PROPERTY(int quota READ quota WRITE setQuota NOTIFY optionsChanged)
    /// Of snapshots: "png" or "jpg".
    Q_PROPERTY(
        QString snapshotFormat READ snapshotFormat WRITE setSnapshotFormat NOTIFY optionsChanged)

    /// Asked for, and not ended by a trouble.
    Q_PROPERTY(bool running READ isRunning NOTIFY statusChanged)
    /// A word of recording::State: "Off", "Waiting", "Writing" or "Stalled".
    Q_PROPERTY(QString state READ state NOTIFY statusChanged)
    /// A word of recording::Trouble, which has ended the newest recording; empty for none.
    Q_PROPERTY(QString trouble READ trouble NOTIFY statusChanged)
    /// The system's words on the trouble.
    Q_PROPERTY(QString detail READ detail NOTIFY statusChanged)
    /// The path of the newest file; empty before the first.
    Q_PROPERTY(QString file READ file NOTIFY statusChanged)
    Q_PROPERTY(int seconds READ seconds NOTIFY statusChanged)
    Q_PROPERTY(double bytes READ bytes NOTIFY statusChanged)

public:
    static constexpr int kDefaultSecondsBefore = 10;
    static constexpr int kMaxSecondsBefore = 60;
    static constexpr int kDefaultQuota = 20;
    /// How often a running recording is looked at: with kFreshMs it is told within a second that
    /// nothing is being written.
    static constexpr int kLookMs = 200;
    /// The least time between two sets of telemetry, on the average.
    static constexpr int kTelemetryMs = 40;

    explicit FlightRecorder(QObject *parent = nullptr);
    ~FlightRecorder() override;

    QObject *backend() const;
    QObject *video() const;

    void setBackend(QObject *backend);
    void setVideo(QObject *video);

    QString folder() const { return m_folder; }

    int secondsBefore() const { return m_secondsBefore; }

    int quota() const { return m_quota; }

    QString snapshotFormat() const { return m_snapshotFormat; }

    void setFolder(const QString &folder);
    /// 0 to kMaxSecondsBefore.
    void setSecondsBefore(int seconds);
    /// At least 1.
    void setQuota(int gigabytes);
    /// What is no such word stands for PNG.
    void setSnapshotFormat(const QString &format);

    bool isRunning() const { return m_status.state != recording::State::Off; }

    QString state() const;
    QString trouble() const;

    QString detail() const { return m_status.detail; }

    QString file() const { return m_status.file; }

    int seconds() const { return int(m_status.elapsedMs / 1000); }

    double bytes() const { return double(m_status.bytes); }

    /// The folder in force.
    Q_INVOKABLE QString usedFolder() const;
    /// Begins a recording; does nothing while one runs.
    Q_INVOKABLE void start();
    Q_INVOKABLE void stop();
    /// Writes the picture on the screen, in its own size, to the folder; what came of it is told
    /// later. False when there is no picture, or it is not what the camera sees now.
    Q_INVOKABLE bool takeSnapshot();

signals:
    void backendChanged();
    void videoChanged();
    void optionsChanged();
    void statusChanged();
    /// A recording was ended by what `trouble` tells.
    void failed();
    void snapshotTaken(QString path);
    /// With the system's words.
    void snapshotFailed(QString detail);

private:
    void look();
    void addEvent(const QString &event, const QJsonObject &particulars);
    void takeLinkState(bool connected);
    void takeStatus(const protocol::StatusFrame &status);
    void takeVideoState();

    const std::shared_ptr<StreamRecorder> m_recorder;
    QPointer<CMain> m_backend;
    QPointer<VideoRenderer> m_video;
    QString m_folder;
    int m_secondsBefore = kDefaultSecondsBefore;
    int m_quota = kDefaultQuota;
    QString m_snapshotFormat = recording::kPng;
    recording::Status m_status;
    QTimer m_lookTimer;
    QElapsedTimer m_clock;
    qint64 m_telemetryDueMs = 0;
    bool m_wasConnected = false;
    QJsonObject m_lastStatus;           // of the pod, as it was logged
    klv::UasDatalinkSet m_lastGeometry; // of any time
};
