#include "FlightRecorder.h"

#include "FlightEvents.h"
#include "StreamRecorder.h"
#include "async/BackgroundCall.h"
#include "backend/CMain.h"
#include "video/VideoRenderer.h"

#include <QCoreApplication>
#include <QDateTime>
#include <QDebug>
#include <QDir>
#include <QMetaEnum>
#include <QStandardPaths>

#include <algorithm>

namespace {

constexpr qint64 kGigabyte = 1'000'000'000;

template<typename Word>
QString wordOf(Word word)
{
    return QString::fromLatin1(QMetaEnum::fromType<Word>().valueToKey(int(word)));
}

qint64 nowMs() { return QDateTime::currentMSecsSinceEpoch(); }

} // namespace

FlightRecorder::FlightRecorder(QObject *parent)
    : QObject(parent)
    , m_recorder(std::make_shared<StreamRecorder>())
{
    m_clock.start();
    m_recorder->setPreRoll(m_secondsBefore);
    connect(&m_lookTimer, &QTimer::timeout, this, &FlightRecorder::look);
}

FlightRecorder::~FlightRecorder()
{
    if (m_backend)
        m_backend->watch({});
    m_recorder->stop();
}

QObject *FlightRecorder::backend() const { return m_backend; }

QObject *FlightRecorder::video() const { return m_video; }

void FlightRecorder::setBackend(QObject *backend)
{
    auto *const next = qobject_cast<CMain *>(backend);
    if (backend && !next)
        qWarning() << "recorder: not a backend:" << backend;
    if (next == m_backend)
        return;
    if (m_backend) {
        m_backend->watch({});
        m_backend->QObject::disconnect(this);
    }
    m_backend = next;
    if (m_backend) {
        m_backend->watch({[this](const QByteArray &frame) {
                              addEvent(QStringLiteral("command"), recording::particularsOf(frame));
                          },
                          [this](const protocol::StatusFrame &status) { takeStatus(status); }});
        connect(m_backend, &CMain::connectionChanged, this, &FlightRecorder::takeLinkState);
    }
    emit backendChanged();
}

void FlightRecorder::setVideo(QObject *video)
{
    auto *const next = qobject_cast<VideoRenderer *>(video);
    if (video && !next)
        qWarning() << "recorder: no video item:" << video;
    if (next == m_video)
        return;
    if (m_video) {
        m_video->disconnect(this);
        m_video->setPacketSink(nullptr);
    }
    m_video = next;
    if (m_video) {
        m_video->setPacketSink(m_recorder);
        connect(m_video, &VideoRenderer::playingChanged, this, &FlightRecorder::takeVideoState);
        connect(m_video, &VideoRenderer::troubleChanged, this, &FlightRecorder::takeVideoState);
    }
    emit videoChanged();
}

void FlightRecorder::setFolder(const QString &folder)
{
    if (folder == m_folder)
        return;
    m_folder = folder;
    emit optionsChanged();
}

void FlightRecorder::setSecondsBefore(int seconds)
{
    const int bounded = std::clamp(seconds, 0, kMaxSecondsBefore);
    if (bounded == m_secondsBefore)
        return;
    m_secondsBefore = bounded;
    m_recorder->setPreRoll(bounded);
    emit optionsChanged();
}

void FlightRecorder::setQuota(int gigabytes)
{
    const int bounded = std::max(gigabytes, 1);
    if (bounded == m_quota)
        return;
    m_quota = bounded;
    emit optionsChanged();
}

void FlightRecorder::setSnapshotFormat(const QString &format)
{
    const QString known = format == recording::kJpeg ? recording::kJpeg : recording::kPng;
    if (known == m_snapshotFormat)
        return;
    m_snapshotFormat = known;
    emit optionsChanged();
}

QString FlightRecorder::state() const { return wordOf(m_status.state); }

QString FlightRecorder::trouble() const
{
    return m_status.trouble == recording::Trouble::None ? QString() : wordOf(m_status.trouble);
}

QString FlightRecorder::usedFolder() const
{
    if (!m_folder.isEmpty())
        return m_folder;
    QString videos = QStandardPaths::writableLocation(QStandardPaths::MoviesLocation);
    if (videos.isEmpty())
        videos = QDir::homePath();
    return QDir(videos).filePath(QStringLiteral("podconsole"));
}

void FlightRecorder::start()
{
    if (isRunning())
        return;
    recording::Options options;
    options.folder = usedFolder();
    options.quotaBytes = m_quota * kGigabyte;
    m_recorder->start(options);
    // The state from which the changes go on.
    takeVideoState();
    m_lastStatus = {};
    m_lookTimer.start(kLookMs);
    look();
}

void FlightRecorder::stop()
{
    m_recorder->stop();
    look();
}

bool FlightRecorder::takeSnapshot()
{
    if (m_video == nullptr || !m_video->playing() || m_video->pictureOld()
        || m_video->picture().isNull())
        return false;
    recording::Snapshot snapshot{m_video->picture(), QDateTime::currentDateTime()};
    snapshot.format = m_snapshotFormat;
    if (m_backend && m_backend->isConnected() && !m_backend->statusStale()
        && m_lastGeometry.timeUs > 0)
        snapshot.geometry = m_lastGeometry;
    runInBackground([self = QPointer(this), snapshot, folder = usedFolder()] {
        QString error;
        const QString path = snapshot.writeInto(folder, error);
        // Only the GUI's thread may look whether the recorder is still there.
        QMetaObject::invokeMethod(
            QCoreApplication::instance(),
            [self, path, error] {
                if (self && path.isEmpty())
                    emit self->snapshotFailed(error);
                else if (self)
                    emit self->snapshotTaken(path);
            },
            Qt::QueuedConnection);
    });
    addEvent(QStringLiteral("snapshot"), {});
    return true;
}

void FlightRecorder::look()
{
    const bool wasRunning = isRunning();
    m_status = m_recorder->status();
    if (!isRunning())
        m_lookTimer.stop();
    emit statusChanged();
    if (wasRunning && m_status.trouble != recording::Trouble::None)
        emit failed();
}

void FlightRecorder::addEvent(const QString &event, const QJsonObject &particulars)
{
    m_recorder->addEvent(recording::eventLine(nowMs(), event, particulars));
}

void FlightRecorder::takeLinkState(bool connected)
{
    if (connected == m_wasConnected) // told twice after a connect
        return;
    m_wasConnected = connected;
    addEvent(QStringLiteral("link"), {{QStringLiteral("connected"), connected},
                                      {QStringLiteral("type"), m_backend->connectionType()}});
}

void FlightRecorder::takeStatus(const protocol::StatusFrame &status)
{
    const QJsonObject particulars = recording::particularsOf(status);
    if (particulars != m_lastStatus) {
        m_lastStatus = particulars;
        addEvent(QStringLiteral("status"), particulars);
    }
    // Frames seldom come evenly: one that comes early is taken, if the next is late for it.
    const qint64 now = m_clock.elapsed();
    if (now < m_telemetryDueMs - kTelemetryMs)
        return;
    m_telemetryDueMs = std::max(m_telemetryDueMs, now) + kTelemetryMs;
    m_lastGeometry = recording::geometryOf(status, m_backend->versionno(), nowMs());
    m_recorder->addTelemetry(klv::encode(m_lastGeometry));
}

void FlightRecorder::takeVideoState()
{
    if (!m_video)
        return;
    addEvent(QStringLiteral("video"), {{QStringLiteral("playing"), m_video->playing()},
                                       {QStringLiteral("trouble"), m_video->trouble()}});
}
