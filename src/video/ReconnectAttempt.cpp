#include "ReconnectAttempt.h"

#include "FFmpegPlayer.h"

#include <QDebug>

#include <chrono>
#include <utility>

namespace {

constexpr int kSettleMs = 300; // between the old stream's end and the new open
constexpr int kAttemptTimeoutUs = 500000;

// What a posted call and the thread that waits for it share.
struct Pending
{
    bool done = false;
    bool result = false;
};

} // namespace

ReconnectAttempt::ReconnectAttempt(FFmpegPlayer *player, Report report,
                                   std::shared_ptr<ReconnectCancelled> cancelled, QString source,
                                   int number)
    : m_player(player)
    , m_report(std::move(report))
    , m_cancelled(std::move(cancelled))
    , m_source(std::move(source))
    , m_number(number)
{
}

void ReconnectAttempt::abandon()
{
    {
        const std::lock_guard lock(m_mutex);
        m_player = nullptr;
        m_report = {};
    }
    m_wake.notify_all();
}

bool ReconnectAttempt::run()
{
    qDebug() << "[ReconnectWorker] 开始重连，尝试次数:" << m_number;
    setPlayerTimeout(kAttemptTimeoutUs);
    callPlayer([](FFmpegPlayer &player) {
        player.stop();
        return true;
    });
    if (!isCancelled())
        pause(kSettleMs);
    if (isCancelled()) {
        qDebug() << "[ReconnectWorker] 重连被取消";
        return false;
    }

    bool opened = false;
    if (!m_source.isEmpty()) {
        qDebug() << "[ReconnectWorker] 尝试打开:" << stream_options::maskedUrl(m_source);
        opened = callPlayer([url = m_source](FFmpegPlayer &player) { return player.open(url); });
        qDebug() << "[ReconnectWorker] 打开结果:" << opened;
    }
    if (opened)
        setPlayerTimeout(kStreamTimeoutUs);
    if (!isCancelled())
        report(opened);
    return true;
}

void ReconnectAttempt::setPlayerTimeout(int us)
{
    const std::lock_guard lock(m_mutex);
    if (m_player)
        m_player->setTimeout(us);
}

bool ReconnectAttempt::callPlayer(const std::function<bool(FFmpegPlayer &)> &call)
{
    const auto pending = std::make_shared<Pending>();
    auto posted = [self = shared_from_this(), pending, call] {
        FFmpegPlayer *player = nullptr;
        {
            const std::lock_guard lock(self->m_mutex);
            player = self->m_player;
        }
        if (!player)
            return;
        const bool result = call(*player);
        {
            const std::lock_guard lock(self->m_mutex);
            pending->done = true;
            pending->result = result;
        }
        self->m_wake.notify_all();
    };

    std::unique_lock lock(m_mutex);
    if (!m_player)
        return false;
    QMetaObject::invokeMethod(m_player, std::move(posted), Qt::QueuedConnection);
    m_wake.wait(lock, [&] { return pending->done || m_player == nullptr; });
    return pending->result;
}

void ReconnectAttempt::pause(int ms)
{
    std::unique_lock lock(m_mutex);
    m_wake.wait_for(lock, std::chrono::milliseconds(ms), [this] { return m_player == nullptr; });
}

void ReconnectAttempt::report(bool opened)
{
    auto posted = [self = shared_from_this(), opened] {
        self->m_hasReported = true;
        Report tell;
        {
            const std::lock_guard lock(self->m_mutex);
            tell = self->m_report;
        }
        if (tell)
            tell(opened);
    };

    const std::lock_guard lock(m_mutex);
    if (m_player)
        QMetaObject::invokeMethod(m_player, std::move(posted), Qt::QueuedConnection);
}
