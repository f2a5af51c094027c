#include "VideoRenderer.h"

#include "FFmpegPlayer.h"
#include "ReconnectAttempt.h"

#include <QDebug>
#include <QThread>
#include <QTimer>

#include <utility>

// How the video item starts and stops its stream and brings a lost one back.
//
//   Idle --play()--> Connecting --opened--> Playing --lost--> Waiting --delay--> Attempting
//                        |                     ^                 ^                   |
//                        +-- failed --> Waiting+-----success-----+------failure------+
//
// Waiting and Attempting end in Idle by stop(), or when the attempts are used up.

namespace {

const QString kNoSourceStatus = QStringLiteral("错误: 未设置视频源");
const QString kGaveUp = QStringLiteral("重连失败，已达最大重试次数");

} // namespace

void VideoRenderer::setAutoReconnect(bool on)
{
    if (on == m_autoReconnect)
        return;
    m_autoReconnect = on;
    emit autoReconnectChanged();
    if (on || !m_reconnectTimer->isActive())
        return;
    m_reconnectTimer->stop();
    m_reconnectAttempts = 0;
    setReconnecting(false);
    qDebug() << "[VideoRenderer] 自动重连已禁用";
}

void VideoRenderer::setReconnectInterval(int ms)
{
    if (ms == m_reconnectIntervalMs || ms < kMinReconnectIntervalMs)
        return;
    m_reconnectIntervalMs = ms;
    emit reconnectIntervalChanged();
    qDebug() << "[VideoRenderer] 重连间隔设置为:" << ms << "毫秒";
}

void VideoRenderer::setMaxReconnectAttempts(int attempts)
{
    if (attempts == m_maxReconnectAttempts || attempts < 1)
        return;
    m_maxReconnectAttempts = attempts;
    emit maxReconnectAttemptsChanged();
    qDebug() << "[VideoRenderer] 最大重连次数设置为:" << attempts;
}

void VideoRenderer::setReconnecting(bool reconnecting)
{
    m_isReconnecting = reconnecting;
    emit isReconnectingChanged();
}

int VideoRenderer::reconnectIntervalSeconds() const { return m_reconnectIntervalMs / 1000; }

void VideoRenderer::play()
{
    if (m_source.isEmpty()) {
        setStatus(kNoSourceStatus);
        emit errorOccurred(QStringLiteral("未设置视频源"));
        return;
    }
    if (m_player->isPlaying()) {
        qDebug() << "[VideoRenderer] 已经在播放中";
        return;
    }
    const Wishes::Wish wish = m_wishes.next();
    m_reconnectTimer->stop();
    stopReconnectThread();
    setTrouble(StreamTrouble::None);
    setStatus(QStringLiteral("正在连接..."));
    qDebug() << "[VideoRenderer] 开始播放视频源:" << masked(m_source);
    m_wasPlayingBeforeError = true;
    m_reconnectAttempts = 0;
    setReconnecting(false);

    const bool opened = openSource(wish);
    if (!wish.isNewest())
        return;
    if (opened) {
        m_player->play();
        if (!wish.isNewest())
            return;
        setStatus(QStringLiteral("播放中"));
        qDebug() << "[VideoRenderer] 播放开始成功";
        return;
    }
    setStatus(QStringLiteral("连接失败"));
    qDebug() << "[VideoRenderer] 播放开始失败";
    if (!m_autoReconnect || !m_wasPlayingBeforeError)
        return;
    qDebug() << "[VideoRenderer] 首次连接失败，开始重连，延迟:" << m_reconnectIntervalMs;
    m_reconnectAttempts = 1;
    setReconnecting(true);
    waitForReconnect(QStringLiteral("连接失败，%1秒后重试...").arg(reconnectIntervalSeconds()));
}

bool VideoRenderer::openSource(const Wishes::Wish &wish)
{
    m_isOpening = true;
    const bool opened = m_player->open(m_source);
    if (wish.isNewest())
        m_isOpening = false;
    return opened;
}

void VideoRenderer::pause()
{
    if (!m_player->isPlaying())
        return;
    m_wishes.next();
    m_player->pause();
    setStatus(QStringLiteral("已暂停"));
    qDebug() << "[VideoRenderer] 视频已暂停";
}

void VideoRenderer::stop()
{
    qDebug() << "[VideoRenderer] 停止播放器";
    const Wishes::Wish wish = m_wishes.next();
    m_isOpening = false;
    setTrouble(StreamTrouble::None);
    stopReconnectThread();
    m_wasPlayingBeforeError = false;
    m_reconnectAttempts = 0;
    setReconnecting(false);
    m_reconnectTimer->stop();
    m_player->stop();
    if (!wish.isNewest())
        return;
    setStatus(QStringLiteral("已停止"));
    showFrame({});
}

void VideoRenderer::reconnect()
{
    qDebug() << "[VideoRenderer] 手动重连";
    m_reconnectTimer->stop();
    if (m_source.isEmpty()) {
        setStatus(kNoSourceStatus);
        return;
    }
    m_wishes.next();
    m_isOpening = false;
    stopReconnectThread();
    m_reconnectAttempts = 0;
    setReconnecting(true);
    performReconnect();
}

void VideoRenderer::onConnectionLost()
{
    qDebug() << "[VideoRenderer] ========== 连接丢失 ==========";
    qDebug() << "[VideoRenderer] m_wasPlayingBeforeError:" << m_wasPlayingBeforeError;
    qDebug() << "[VideoRenderer] m_isReconnecting:" << m_isReconnecting;
    qDebug() << "[VideoRenderer] m_autoReconnect:" << m_autoReconnect;
    if (!m_wasPlayingBeforeError) {
        qDebug() << "[VideoRenderer] 本来就没在播放，忽略连接丢失";
        return;
    }
    if (m_isReconnecting) {
        qDebug() << "[VideoRenderer] 已经在重连过程中，忽略重复的连接丢失信号";
        return;
    }
    showFrame({});
    emit connectionLost();
    if (!m_autoReconnect) {
        setStatus(QStringLiteral("连接中断"));
        m_wasPlayingBeforeError = false;
        return;
    }
    stopReconnectThread();
    m_reconnectAttempts = 1;
    setReconnecting(true);
    qDebug() << "[VideoRenderer] 启动重连定时器，延迟:" << m_reconnectIntervalMs << "毫秒";
    waitForReconnect(QStringLiteral("连接中断，%1秒后重连...").arg(reconnectIntervalSeconds()));
}

void VideoRenderer::waitForReconnect(const QString &status)
{
    setStatus(status);
    m_reconnectTimer->start(m_reconnectIntervalMs);
}

void VideoRenderer::performReconnect()
{
    qDebug() << "[VideoRenderer] performReconnect 被调用，尝试次数:" << m_reconnectAttempts;
    if (m_reconnectAttempts >= m_maxReconnectAttempts) {
        setStatus(kGaveUp);
        setReconnecting(false);
        forgetWish();
        return;
    }
    setStatus(QStringLiteral("重连中... (%1/%2)")
                  .arg(m_reconnectAttempts + 1)
                  .arg(m_maxReconnectAttempts));
    stopReconnectThread();
    startReconnectThread();
}

void VideoRenderer::forgetWish()
{
    m_wasPlayingBeforeError = false;
    m_reconnectAttempts = 0;
}

void VideoRenderer::onReconnectSuccess()
{
    qDebug() << "[VideoRenderer] 重连成功";
    const Wishes::Wish wish = m_wishes.next();
    m_player->setTimeout(ReconnectAttempt::kStreamTimeoutUs);
    m_player->play();
    if (!wish.isNewest())
        return;
    m_reconnectAttempts = 0;
    setReconnecting(false);
    setStatus(QStringLiteral("重连成功"));
    emit connectionRestored();
    m_wasPlayingBeforeError = true;
}

void VideoRenderer::onReconnectFailed()
{
    qDebug() << "[VideoRenderer] 重连失败，尝试次数:" << m_reconnectAttempts;
    ++m_reconnectAttempts;
    if (m_reconnectAttempts >= m_maxReconnectAttempts) {
        setReconnecting(false);
        setStatus(kGaveUp);
        emit errorOccurred(kGaveUp);
        forgetWish();
        return;
    }
    waitForReconnect(QStringLiteral("重连失败，%1秒后重试... (%2/%3)")
                         .arg(reconnectIntervalSeconds())
                         .arg(m_reconnectAttempts)
                         .arg(m_maxReconnectAttempts));
}

void VideoRenderer::startReconnectThread()
{
    const auto report = [this](bool opened) {
        if (opened)
            onReconnectSuccess();
        else
            onReconnectFailed();
    };
    m_reconnectAttempt = std::make_shared<ReconnectAttempt>(m_player, report, m_reconnectCancelled,
                                                            m_source, m_reconnectAttempts);
    m_reconnectThread = new QThread(this);
    auto *worker = new QObject; // its events run on the thread
    worker->moveToThread(m_reconnectThread);
    connect(m_reconnectThread, &QThread::started, worker,
            [attempt = m_reconnectAttempt, thread = m_reconnectThread] {
                if (attempt->run())
                    thread->quit();
            });
    connect(m_reconnectThread, &QThread::finished, worker, &QObject::deleteLater);
    connect(m_reconnectThread, &QThread::finished, this, [this, thread = m_reconnectThread] {
        qDebug() << "[VideoRenderer] 重连线程结束";
        if (thread != m_reconnectThread)
            return; // stopped, and replaced or forgotten, meanwhile
        m_reconnectThread->deleteLater();
        m_reconnectThread = nullptr;
    });
    m_reconnectThread->start(QThread::InheritPriority);
}

void VideoRenderer::stopReconnectThread()
{
    const bool running = m_reconnectThread != nullptr && m_reconnectThread->isRunning();
    // Before it is woken, so that it wakes to find itself cancelled. A thread that has done its
    // attempt is not stopped but only caught on its way out, as when the stream is lost again at
    // once; it would be the end of all reconnecting.
    if (running && !m_reconnectAttempt->hasReported())
        *m_reconnectCancelled = 1;
    // Also where the thread has ended: its result may still be on the way.
    if (m_reconnectAttempt)
        m_reconnectAttempt->abandon();
    m_reconnectAttempt.reset();
    QThread *const thread = std::exchange(m_reconnectThread, nullptr);
    if (!thread)
        return;
    thread->quit();
    // An abandoned attempt waits for nobody and calls nothing that blocks.
    if (running && !thread->wait(kReconnectThreadWaitMs)) {
        // Terminating it could leave a lock held. It touches nothing of ours any more and may end
        // when it can.
        qDebug() << "[VideoRenderer] 强制终止重连线程";
        thread->setParent(nullptr);
        connect(thread, &QThread::finished, thread, &QObject::deleteLater);
        return;
    }
    thread->deleteLater();
}
