#include "FFmpegPlayer.h"

#include "DecodeTask.h"
#include "MediaStream.h"

#include <QDeadlineTimer>
#include <QDebug>
#include <QThread>
#include <QtConcurrentRun>

#include <algorithm>

namespace {

constexpr int kTaskPollMs = 5;
constexpr int kMinFrameIntervalMs = 1;
constexpr int kMaxFrameIntervalMs = 1000;

} // namespace

FFmpegPlayer::FFmpegPlayer(QObject *parent)
    : QObject(parent)
    , m_state(std::make_shared<PlaybackState>([this](quint64 generation) {
        QMetaObject::invokeMethod(
            this, [this, generation] { announceLoss(generation); }, Qt::QueuedConnection);
    }))
{
    av_log_set_level(AV_LOG_ERROR);
    avformat_network_init();
}

FFmpegPlayer::~FFmpegPlayer()
{
    if (isPlaying())
        stop();
    else if (m_stream)
        cleanup();
    m_state->detach();
    avformat_network_deinit();
}

bool FFmpegPlayer::isPlaying() { return m_state->isPlaying(); }

bool FFmpegPlayer::open(const QString &url)
{
    if (isPlaying())
        stop();
    else if (m_stream)
        cleanup();
    m_url = url;

    OpenRequest request{url, m_settings, std::make_shared<AbortFlag>(false)};
    request.settings.timeoutUs = m_timeoutUs;
    OpenOutcome outcome = openMediaStream(request);
    if (!outcome.stream) {
        emit errorOccurred(outcome.error);
        return false;
    }
    m_stream = std::move(outcome.stream);
    m_state->reset();
    return true;
}

void FFmpegPlayer::close()
{
    cleanup();
    qDebug() << "[FFmpegPlayer] 播放器已关闭";
}

void FFmpegPlayer::play()
{
    if (!m_stream) {
        emit errorOccurred(QStringLiteral("播放器未初始化"));
        return;
    }
    if (isPlaying())
        return;
    m_state->setPlaying(true);
    m_state->restartStallClock();
    startTimers();
    startDecodeTask();
    emit playingStateChanged(true);
    qDebug() << "[FFmpegPlayer] 开始播放，渲染间隔:" << m_frameIntervalMs << "ms";
}

void FFmpegPlayer::startTimers()
{
    if (!m_renderTimer) {
        m_renderTimer = new QTimer(this);
        m_renderTimer->setTimerType(Qt::PreciseTimer);
        connect(m_renderTimer, &QTimer::timeout, this, &FFmpegPlayer::renderFrame);
    }
    m_renderTimer->start(m_frameIntervalMs);
    if (!m_heartbeatTimer) {
        m_heartbeatTimer = new QTimer(this);
        connect(m_heartbeatTimer, &QTimer::timeout, this, &FFmpegPlayer::checkHeartbeat);
    }
    m_heartbeatTimer->start(kHeartbeatMs);
}

void FFmpegPlayer::startDecodeTask()
{
    if (m_decodeFuture.isRunning()) {
        qDebug() << "[FFmpegPlayer] 等待之前的解码线程结束";
        waitForDecodeTask();
    }
    // The new generation ends whatever task is left, at the end of its pass at the latest.
    auto task = std::make_shared<DecodeTask>(m_state, m_stream, m_state->beginGeneration());
    m_decodeFuture = QtConcurrent::run([task] { task->run(); });
}

bool FFmpegPlayer::waitForDecodeTask() const
{
    const QDeadlineTimer deadline(kTaskWaitMs);
    while (m_decodeFuture.isRunning() && !deadline.hasExpired())
        QThread::msleep(kTaskPollMs);
    return !m_decodeFuture.isRunning();
}

void FFmpegPlayer::renderFrame()
{
    const QImage frame = m_state->currentFrame();
    if (!frame.isNull())
        emit frameReady(frame);
}

void FFmpegPlayer::checkHeartbeat()
{
    if (!isPlaying())
        return;
    const qint64 now = PlaybackState::nowMs();
    const qint64 last = m_state->lastFrameTimeMs();
    if (last <= 0 || now - last <= kStallLimitMs || !m_state->claimLoss())
        return;
    qDebug() << "[FFmpegPlayer] 心跳检测：3秒内未收到新帧，当前时间:" << now << "最后帧时间:" << last
             << "差值:" << now - last;
    qDebug() << "[FFmpegPlayer] 判定为连接丢失";
    emit connectionLost();
}

void FFmpegPlayer::announceLoss(quint64 generation)
{
    // The stream may have been closed or replaced since the decode task lost it.
    if (m_state->isCurrent(generation))
        emit connectionLost();
}

void FFmpegPlayer::pause()
{
    if (!isPlaying())
        return;
    m_state->setPlaying(false);
    m_renderTimer->stop();
    emit playingStateChanged(false);
    qDebug() << "[FFmpegPlayer] 暂停播放";
}

void FFmpegPlayer::stop()
{
    qDebug() << "[FFmpegPlayer] stop() 开始";
    cleanup();
    emit playingStateChanged(false);
    qDebug() << "[FFmpegPlayer] stop() 完成";
}

void FFmpegPlayer::cleanup()
{
    qDebug() << "[FFmpegPlayer] cleanup() 开始";
    if (m_stream)
        m_stream->abort();
    m_state->setPlaying(false);
    m_state->reset();
    if (m_heartbeatTimer)
        m_heartbeatTimer->stop();
    if (m_renderTimer) {
        m_renderTimer->stop();
        m_renderTimer->deleteLater();
        m_renderTimer = nullptr;
    }
    if (m_decodeFuture.isRunning()) {
        qDebug() << "[FFmpegPlayer] 等待解码线程退出...";
        if (waitForDecodeTask())
            qDebug() << "[FFmpegPlayer] 解码线程已退出";
        else
            qDebug() << "[FFmpegPlayer] 解码线程未退出（超时），强制处理";
    }
    // A task that still runs keeps the stream alive and closes it when it ends.
    m_stream.reset();
    qDebug() << "[FFmpegPlayer] cleanup() 完成";
}

void FFmpegPlayer::setBufferSize(int bytes) { m_settings.bufferSizeBytes = bytes; }

void FFmpegPlayer::setRtspTransport(const QString &transport)
{
    m_settings.rtspTransport = transport;
}

void FFmpegPlayer::setTimeout(int us) { m_timeoutUs = us; }

void FFmpegPlayer::setFrameInterval(int ms)
{
    m_frameIntervalMs = std::clamp(ms, kMinFrameIntervalMs, kMaxFrameIntervalMs);
}

void FFmpegPlayer::setMaxDelay(int us) { m_settings.maxDelayUs = std::max(us, 0); }
