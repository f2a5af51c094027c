#include "FFmpegPlayer.h"

#include "DecodeTask.h"
#include "async/BackgroundCall.h"

#include <QDebug>
#include <QThreadPool>
#include <QtConcurrentRun>

#include <algorithm>
#include <mutex>
#include <utility>

namespace {

constexpr int kMinFrameIntervalMs = 1;
constexpr int kMaxFrameIntervalMs = 1000;
// An aborted stream ends at once; when the application quits, no more than this is spent on it.
constexpr int kQuitWaitMs = 200;

/// Lets go of a stream on a thread that may block in closing it. A decode task that still runs
/// keeps the stream and closes it when it ends.
std::shared_ptr<Gate> releaseInBackground(std::shared_ptr<MediaStream> stream)
{
    return runInBackground([stream = std::move(stream)]() mutable { stream.reset(); });
}

} // namespace

/// One open: GUI thread and opening thread own it together, and the first to leave decides what
/// becomes of the outcome.
struct FFmpegPlayer::OpenCall
{
    OpenRequest request;
    Gate answered; // by an outcome, or by being abandoned

    void run()
    {
        OpenOutcome result = openMediaStream(request);
        const std::lock_guard lock(m_mutex);
        if (!m_abandoned)
            m_outcome = std::move(result);
        answered.open();
    }

    void abandon()
    {
        const std::lock_guard lock(m_mutex);
        m_abandoned = true;
        *request.abort = true;
        answered.open();
    }

    OpenOutcome takeOutcome()
    {
        const std::lock_guard lock(m_mutex);
        return std::exchange(m_outcome, {});
    }

private:
    std::mutex m_mutex;
    OpenOutcome m_outcome;    // empty when abandoned
    bool m_abandoned = false; // the abort flag may be taken back by an open that succeeds
};

FFmpegPlayer::FFmpegPlayer(QObject *parent)
    : QObject(parent)
    , m_state(std::make_shared<PlaybackState>(
          [this](quint64 generation) {
              QMetaObject::invokeMethod(
                  this, [this, generation] { announceLoss(generation); }, Qt::QueuedConnection);
          },
          [this] {
              QMetaObject::invokeMethod(this, &FFmpegPlayer::handOver, Qt::QueuedConnection);
          }))
{
    av_log_set_level(AV_LOG_ERROR);
    avformat_network_init();
}

FFmpegPlayer::~FFmpegPlayer()
{
    shutDown();
    m_state->detach();
    avformat_network_deinit();
}

void FFmpegPlayer::shutDown()
{
    const Wishes::Wish wish = m_wishes.next();
    if (isPlaying())
        halt(wish, Waiting::Block);
    else if (m_stream || m_openCall)
        cleanup(Waiting::Block);
}

bool FFmpegPlayer::isPlaying() { return m_state->isPlaying(); }

bool FFmpegPlayer::open(const QString &url)
{
    const Wishes::Wish wish = m_wishes.next();
    if (isPlaying())
        halt(wish, Waiting::ServeEvents);
    else if (m_stream || m_openCall)
        cleanup(Waiting::ServeEvents);
    if (!wish.isNewest())
        return false;

    m_url = url;
    OpenOutcome outcome = openServingEvents(url, wish);
    if (!wish.isNewest())
        return false;
    if (!outcome.stream) {
        m_onTrouble(outcome.trouble);
        if (!outcome.error.isEmpty())
            emit errorOccurred(outcome.error);
        return false;
    }
    m_stream = std::move(outcome.stream);
    m_state->reset();
    return true;
}

OpenOutcome FFmpegPlayer::openServingEvents(const QString &url, const Wishes::Wish &wish)
{
    const auto call = std::make_shared<OpenCall>();
    call->request = {url, m_settings, std::make_shared<AbortFlag>(false)};
    call->request.settings.timeoutUs = m_timeoutUs;
    m_openCall = call;
    runInBackground([call] { call->run(); });
    // The probing that follows is patient beyond what an operator is.
    QTimer silence;
    connect(&silence, &QTimer::timeout, this, [this, heard = call->request.heard] {
        if (!*heard)
            m_onTrouble(StreamTrouble::NothingArrives);
    });
    silence.setSingleShot(true);
    if (stream_options::isUdpUrl(url.trimmed()))
        silence.start(kSilenceMs);
    if (call->answered.waitServingEvents(Gate::kForever) != Gate::Result::Opened)
        call->abandon();
    if (!wish.isNewest())
        return {}; // and perhaps no player any more
    m_openCall.reset();
    return call->takeOutcome();
}

void FFmpegPlayer::abandonOpen()
{
    if (m_openCall)
        m_openCall->abandon();
    m_openCall.reset();
}

void FFmpegPlayer::close()
{
    m_wishes.next();
    cleanup(Waiting::ServeEvents);
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
    const Wishes::Wish wish = m_wishes.next();
    // A pause is no stall; its heartbeat may be due before the task has been replaced.
    m_state->restartStallClock();
    m_state->setPlaying(true);
    startRenderTimer();
    if (!startDecodeTask(wish))
        return;
    startHeartbeat();
    emit playingStateChanged(true);
    qDebug() << "[FFmpegPlayer] 开始播放，渲染间隔:" << m_frameIntervalMs << "ms";
}

void FFmpegPlayer::startRenderTimer()
{
    if (!m_renderTimer) {
        m_renderTimer = new QTimer(this);
        m_renderTimer->setTimerType(Qt::PreciseTimer);
        connect(m_renderTimer, &QTimer::timeout, this, &FFmpegPlayer::renderFrame);
    }
    m_renderTimer->start(m_frameIntervalMs);
}

void FFmpegPlayer::startHeartbeat()
{
    // The stall clock begins now: a stream that never delivers is noticed, and the time spent
    // opening it is no stall.
    m_state->restartStallClock();
    if (!m_heartbeatTimer) {
        m_heartbeatTimer = new QTimer(this);
        connect(m_heartbeatTimer, &QTimer::timeout, this, &FFmpegPlayer::checkHeartbeat);
    }
    m_heartbeatTimer->start(kHeartbeatMs);
}

void FFmpegPlayer::stopTimers()
{
    if (m_heartbeatTimer)
        m_heartbeatTimer->stop();
    if (m_renderTimer) {
        m_renderTimer->stop();
        m_renderTimer->deleteLater();
        m_renderTimer = nullptr;
    }
}

bool FFmpegPlayer::startDecodeTask(const Wishes::Wish &wish)
{
    if (m_decodeFuture.isRunning()) {
        qDebug() << "[FFmpegPlayer] 等待之前的解码线程结束";
        const std::shared_ptr<Gate> previous = m_taskEnded;
        previous->waitServingEvents(kTaskWaitMs);
        if (!wish.isNewest())
            return false;
    }
    // The new generation ends whatever task is left, at the end of its pass at the latest.
    auto task = std::make_shared<DecodeTask>(m_state, m_stream, m_state->beginGeneration(), m_sink);
    m_taskEnded = std::make_shared<Gate>();
    m_decodeFuture = QtConcurrent::run([task = std::move(task), ended = m_taskEnded]() mutable {
        // It may wait for its stream for long, and is not counted meanwhile: painting hands out
        // work to the same pool and waits for it, and so would the window.
        QThreadPool::globalInstance()->releaseThread();
        task->run();
        QThreadPool::globalInstance()->reserveThread();
        task.reset(); // and with it, perhaps, the last hold on the stream
        ended->open();
    });
    return true;
}

QImage FFmpegPlayer::takePicture()
{
    PlaybackState::Picture picture = m_state->currentFrame();
    if (!picture.image.isNull()) {
        m_sentKey = picture.image.cacheKey();
        m_sentArrivedUs = picture.arrivedUs;
        m_sentLosses = picture.losses;
    }
    return std::move(picture.image);
}

void FFmpegPlayer::renderFrame()
{
    const QImage picture = takePicture();
    if (!picture.isNull())
        emit frameReady(picture);
}

void FFmpegPlayer::handOver()
{
    const qint64 nowUs = PlaybackState::nowUs();
    if (!isPlaying() || nowUs - m_handedOverUs < qint64(kHurryMs) * 1000)
        return;
    m_handedOverUs = nowUs;
    const QImage picture = takePicture();
    if (!picture.isNull())
        m_onNewPicture(picture);
}

void FFmpegPlayer::checkHeartbeat()
{
    if (!isPlaying())
        return;
    const qint64 now = PlaybackState::nowMs();
    const qint64 last = m_state->lastFrameTimeMs();
    if (last <= 0 || now - last <= kStallLimitMs || !m_state->claimLoss())
        return;
    qDebug() << "[FFmpegPlayer] 心跳检测：3秒内未收到新帧，当前时间:" << now
             << "最后帧时间:" << last << "差值:" << now - last;
    qDebug() << "[FFmpegPlayer] 判定为连接丢失";
    m_onTrouble(StreamTrouble::NothingArrives);
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
    m_wishes.next();
    m_state->setPlaying(false);
    m_renderTimer->stop();
    emit playingStateChanged(false);
    qDebug() << "[FFmpegPlayer] 暂停播放";
}

void FFmpegPlayer::stop() { halt(m_wishes.next(), Waiting::ServeEvents); }

bool FFmpegPlayer::halt(const Wishes::Wish &wish, Waiting waiting)
{
    qDebug() << "[FFmpegPlayer] stop() 开始";
    cleanup(waiting);
    if (!wish.ownerIsAlive())
        return false;
    // What overtook this stop reports its own state. If nothing plays now, that must be told
    // here, or the window would go on saying that it does.
    if (wish.isNewest() || !isPlaying())
        emit playingStateChanged(false);
    qDebug() << "[FFmpegPlayer] stop() 完成";
    return wish.isNewest();
}

std::shared_ptr<MediaStream> FFmpegPlayer::takeStream()
{
    abandonOpen();
    if (m_stream)
        m_stream->abort();
    m_state->setPlaying(false);
    m_state->reset();
    stopTimers();
    return std::exchange(m_stream, nullptr);
}

void FFmpegPlayer::cleanup(Waiting waiting)
{
    const auto waitFor = [waiting](Gate &gate, int ms) {
        if (waiting == Waiting::Block)
            return gate.waitBlocking(ms);
        const Gate::Result result = gate.waitServingEvents(ms);
        return result == Gate::Result::Quit ? gate.waitBlocking(kQuitWaitMs) : result;
    };

    qDebug() << "[FFmpegPlayer] cleanup() 开始";
    std::shared_ptr<MediaStream> stream = takeStream();
    if (m_decodeFuture.isRunning()) {
        qDebug() << "[FFmpegPlayer] 等待解码线程退出...";
        const std::shared_ptr<Gate> ended = m_taskEnded;
        if (waitFor(*ended, kTaskWaitMs) == Gate::Result::Opened)
            qDebug() << "[FFmpegPlayer] 解码线程已退出";
        else
            qDebug() << "[FFmpegPlayer] 解码线程未退出（超时），强制处理";
    }
    // From here on nothing of the player is touched: it may be gone.
    if (stream)
        waitFor(*releaseInBackground(std::move(stream)),
                waiting == Waiting::Block ? kQuitWaitMs : kCloseWaitMs);
    qDebug() << "[FFmpegPlayer] cleanup() 完成";
}

VideoStatistics FFmpegPlayer::statistics() const
{
    VideoStatistics statistics = m_state->statistics();
    if (m_stream) {
        statistics.transport = m_stream->transport();
        statistics.codec = QString::fromLatin1(avcodec_get_name(m_stream->codec()->codec_id));
    }
    return statistics;
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
