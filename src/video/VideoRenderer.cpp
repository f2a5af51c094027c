#include "VideoRenderer.h"

#include "FFmpegPlayer.h"
#include "PictureWatch.h"

#include <QCoreApplication>
#include <QDebug>
#include <QPainter>
#include <QQuickWindow>
#include <QSGRendererInterface>
#include <QTime>
#include <QTimer>

#include <algorithm>
#include <array>

// The item as QML sees it, and its painting; how it reconnects is in VideoReconnection.cpp.

namespace {

const QString kPlayingStatus = QStringLiteral("播放中");

constexpr int kErrorTextMax = 50;
constexpr int kErrorTextKept = 47;

constexpr int kShadeAlpha = 150;

struct TextSizes
{
    int statusPt;
    int retryPt;
};

constexpr TextSizes kOnBlack = {16, 12};
constexpr TextSizes kOverPicture = {14, 10};

// Such errors stay off the status line: the loss that goes with them has its own texts.
bool isNetworkError(const QString &error)
{
    static const std::array kMarks = {
        QStringLiteral("读取帧失败"), QStringLiteral("超时"),       QStringLiteral("断开"),
        QStringLiteral("中断"),       QStringLiteral("流结束"),     QStringLiteral("连接"),
        QStringLiteral("无法打开"),   QStringLiteral("打开视频流"), QStringLiteral("网络"),
        QStringLiteral("socket"),
    };
    return std::ranges::any_of(kMarks, [&](const QString &mark) { return error.contains(mark); });
}

QString shortened(const QString &text)
{
    return text.size() <= kErrorTextMax ? text : text.left(kErrorTextKept) + QStringLiteral("...");
}

QFont arial(int points, QFont::Weight weight) { return {QStringLiteral("Arial"), points, weight}; }

/// The largest rectangle of the shape in which the picture is to be seen, centred in `area`.
QRectF letterboxed(const QImage &picture, const QRectF &area)
{
    QRectF target = area;
    if (picture.isNull() || area.isEmpty())
        return target;
    const qreal pixelRatio = qreal(picture.dotsPerMeterY()) / picture.dotsPerMeterX();
    const qreal pictureRatio = pixelRatio * picture.width() / picture.height();
    if (pictureRatio > area.width() / area.height()) {
        const qreal height = area.width() / pictureRatio;
        target.moveTop(target.top() + (area.height() - height) * 0.5);
        target.setHeight(height);
    } else {
        const qreal width = area.height() * pictureRatio;
        target.moveLeft(target.left() + (area.width() - width) * 0.5);
        target.setWidth(width);
    }
    return target;
}

/// drawImage() hands a large picture to helper threads piece by piece and waits for them; the GUI
/// thread would stand still for as long as others keep those from a processor. Bands too small to
/// be shared out cost no more in sum and make the same picture.
void drawScaled(QPainter &painter, const QRectF &target, const QImage &picture)
{
    constexpr int kBandPixels = 32768; // what QPainter draws by itself
    // In device pixels, so that no scale of the screen puts a band's edge between two of them.
    const QRectF scaled = painter.transform().mapRect(target);
    const QRect area = scaled.toAlignedRect();
    const int rows = std::max(1, kBandPixels / std::max(1, area.width()));
    for (int top = area.top(); top <= area.bottom(); top += rows) {
        painter.save();
        painter.resetTransform();
        painter.setClipRect(area.left(), top, area.width(), rows, Qt::IntersectClip);
        painter.drawImage(scaled, picture, QRectF(picture.rect()));
        painter.restore();
    }
}

void paintTexts(QPainter &painter, const QRectF &area, const QString &status, const QString &retry,
                TextSizes sizes)
{
    painter.setPen(Qt::white);
    painter.setFont(arial(sizes.statusPt, QFont::Bold));
    painter.drawText(area, Qt::AlignCenter, status);
    if (retry.isEmpty())
        return;
    painter.setFont(arial(sizes.retryPt, QFont::Normal));
    painter.drawText(area, Qt::AlignHCenter | Qt::AlignVCenter | Qt::AlignBottom, retry);
}

/// Without a graphics driver a window paints some milliseconds after it was asked to, in case more
/// changes come. A picture is the change worth painting for.
void paintAtOnce(QQuickWindow *window)
{
    if (window && window->isExposed()
        && window->rendererInterface()->graphicsApi() == QSGRendererInterface::Software)
        QCoreApplication::postEvent(window, new QEvent(QEvent::UpdateRequest));
}

} // namespace

VideoRenderer::VideoRenderer(QQuickItem *parent)
    : QQuickPaintedItem(parent)
    , m_player(new FFmpegPlayer(this))
    , m_pictureWatch(new PictureWatch(this))
    , m_reconnectTimer(new QTimer(this))
    , m_reconnectCancelled(std::make_shared<std::atomic<int>>(0))
{
    setRenderTarget(QQuickPaintedItem::FramebufferObject);
    setPerformanceHint(QQuickPaintedItem::FastFBOResizing, true);
    setAntialiasing(false);
    setOpaquePainting(true);

    m_reconnectTimer->setSingleShot(true);
    connect(m_reconnectTimer, &QTimer::timeout, this, &VideoRenderer::performReconnect);

    connect(m_player, &FFmpegPlayer::frameReady, this, &VideoRenderer::takeFrame,
            Qt::QueuedConnection);
    connect(m_player, &FFmpegPlayer::errorOccurred, this, &VideoRenderer::onErrorOccurred,
            Qt::QueuedConnection);
    connect(m_player, &FFmpegPlayer::playingStateChanged, this, &VideoRenderer::takePlayingState,
            Qt::QueuedConnection);
    connect(m_player, &FFmpegPlayer::connectionLost, this, &VideoRenderer::takeConnectionLoss,
            Qt::QueuedConnection);
    connect(m_pictureWatch, &PictureWatch::ageChanged, this, &VideoRenderer::pictureAgeChanged);
    connect(m_pictureWatch, &PictureWatch::oldChanged, this, &VideoRenderer::pictureOldChanged);
    connect(m_pictureWatch, &PictureWatch::lost, this, &VideoRenderer::takePictureLoss);
    m_player->onTrouble([this](StreamTrouble trouble) { setTrouble(trouble); });
    m_player->onNewPicture([this](const QImage &picture) { takeFrame(picture); });
    qDebug() << "[VideoRenderer] 初始化完成";
}

VideoRenderer::~VideoRenderer()
{
    qDebug() << "[VideoRenderer] 停止播放器";
    stopReconnectThread();
    m_player->shutDown();
}

bool VideoRenderer::playing() const { return m_player->isPlaying(); }

void VideoRenderer::setSource(const QString &source)
{
    if (source == m_source)
        return;
    m_source = source;
    emit sourceChanged();
    qDebug() << "[VideoRenderer] 视频源已设置:" << masked(m_source);
}

void VideoRenderer::setBufferSize(int size) { m_player->setBufferSize(size); }

void VideoRenderer::setRtspTransport(const QString &transport)
{
    m_player->setRtspTransport(transport);
}

void VideoRenderer::setTimeout(int timeoutMs) { m_player->setTimeout(timeoutMs); }

void VideoRenderer::setPacketSink(std::shared_ptr<PacketSink> sink)
{
    m_player->setPacketSink(std::move(sink));
}

void VideoRenderer::setFrameInterval(int msec) { m_player->setFrameInterval(msec); }

void VideoRenderer::setMaxDelay(int maxDelayMs) { m_player->setMaxDelay(maxDelayMs); }

QString VideoRenderer::masked(const QString &address) const
{
    return stream_options::maskedUrl(address);
}

void VideoRenderer::setTrouble(StreamTrouble trouble)
{
    if (trouble == m_trouble)
        return;
    m_trouble = trouble;
    emit troubleChanged();
}

void VideoRenderer::setStatus(const QString &status)
{
    if (status == m_status)
        return;
    m_status = status;
    emit statusChanged();
    update();
}

void VideoRenderer::takeFrame(const QImage &frame)
{
    // The player resends its last picture while a stream is lost, and one more may be under way
    // when it stops; neither tells that the stream is back.
    if (m_player->isPlaying() && m_player->isLive(frame))
        onFrameReady(frame);
}

void VideoRenderer::takePlayingState(bool playing)
{
    // A change that the player has taken back since would undo what was wished for later, and so
    // would the end of the stream that the one being opened replaces.
    if (m_isOpening)
        emit playingChanged();
    else if (playing == m_player->isPlaying())
        onPlayingStateChanged(playing);
}

void VideoRenderer::takeConnectionLoss()
{
    // A stream that was closed or replaced meanwhile is nobody's loss.
    if (m_player->isPlaying()) {
        ++m_painted.losses;
        onConnectionLost();
    }
}

void VideoRenderer::takePictureLoss()
{
    // A stream of which nothing comes at all is lost by the player's heartbeat.
    constexpr int kFlowingMs = FFmpegPlayer::kStallLimitMs - FFmpegPlayer::kHeartbeatMs;
    if (!m_player->isPlaying() || m_player->sincePacketMs() > kFlowingMs)
        return;
    m_player->countLoss();
    setTrouble(StreamTrouble::NoNewPicture);
    onConnectionLost();
}

int VideoRenderer::pictureAge() const { return m_pictureWatch->ageMs(); }

bool VideoRenderer::pictureOld() const { return m_pictureWatch->isOld(); }

void VideoRenderer::onFrameReady(const QImage &frame)
{
    if (frame.isNull())
        return;
    setTrouble(StreamTrouble::None);
    // The player sends its newest picture at every tick, whether it is on screen or not.
    if (frame.cacheKey() != m_currentFrame.cacheKey()) {
        m_pictureWatch->pictureCame();
        showFrame(frame);
    }
    if (m_status != kPlayingStatus)
        enterPlaying();
}

void VideoRenderer::onErrorOccurred(const QString &error)
{
    qDebug() << "[VideoRenderer] 错误:"
             << QTime::currentTime().toString(QStringLiteral("hh:mm:ss.zzz")) << error;
    if (error.isEmpty() || isNetworkError(error))
        return;
    setStatus(QStringLiteral("错误: ") + shortened(error));
    emit errorOccurred(error);
}

void VideoRenderer::onPlayingStateChanged(bool playing)
{
    qDebug() << "[VideoRenderer] 播放状态改变:" << playing;
    emit playingChanged();
    if (playing) {
        m_wasPlayingBeforeError = true;
        enterPlaying();
        return;
    }
    if (m_isReconnecting)
        return;
    m_wasPlayingBeforeError = false;
    setStatus(QStringLiteral("已停止"));
    showFrame({});
}

void VideoRenderer::enterPlaying()
{
    if (m_currentFrame.isNull())
        m_pictureWatch->start();
    // A stream that came back by itself must not be torn down by an attempt that was due.
    m_reconnectTimer->stop();
    setStatus(kPlayingStatus);
    m_reconnectAttempts = 0;
    setReconnecting(false);
    emit connectionRestored();
}

void VideoRenderer::showFrame(const QImage &frame)
{
    if (frame.isNull())
        m_pictureWatch->stop();
    m_currentFrame = frame;
    m_arrivedUs = m_player->arrivalUs(frame);
    updateContentRect();
    update();
    paintAtOnce(window());
}

void VideoRenderer::updateContentRect()
{
    const QRectF rect =
        m_currentFrame.isNull() ? QRectF() : letterboxed(m_currentFrame, boundingRect());
    if (rect == m_contentRect)
        return;
    m_contentRect = rect;
    emit contentRectChanged();
}

void VideoRenderer::geometryChange(const QRectF &newGeometry, const QRectF &oldGeometry)
{
    QQuickPaintedItem::geometryChange(newGeometry, oldGeometry);
    updateContentRect();
}

void VideoRenderer::paint(QPainter *painter)
{
    const qint64 beginUs = PlaybackState::nowUs();
    painter->fillRect(boundingRect(), Qt::black);
    if (m_currentFrame.isNull())
        paintWithoutPicture(*painter);
    else
        paintPicture(*painter);
    countPainted(double(PlaybackState::nowUs() - beginUs) / 1000);
}

void VideoRenderer::countPainted(double paintMs)
{
    if (m_currentFrame.isNull() || m_currentFrame.cacheKey() == m_paintedKey)
        return;
    m_paintedKey = m_currentFrame.cacheKey();
    ++m_painted.presented;
    m_painted.paintMs = paintMs;
    if (m_arrivedUs > 0)
        m_painted.ageMs = double(PlaybackState::nowUs() - m_arrivedUs) / 1000;
}

VideoStatistics VideoRenderer::statistics() const
{
    VideoStatistics statistics = m_player->statistics();
    statistics.presented = m_painted.presented;
    statistics.paintMs = m_painted.paintMs;
    statistics.ageMs = m_painted.ageMs;
    statistics.losses = m_painted.losses;
    statistics.size = m_currentFrame.size();
    return statistics;
}

QString VideoRenderer::retryText() const
{
    if (m_reconnectAttempts < 1)
        return {};
    return QStringLiteral("重试 %1/%2").arg(m_reconnectAttempts).arg(m_maxReconnectAttempts);
}

void VideoRenderer::paintWithoutPicture(QPainter &painter) const
{
    if (!m_status.isEmpty())
        paintTexts(painter, boundingRect(), m_status, retryText(), kOnBlack);
}

void VideoRenderer::paintPicture(QPainter &painter) const
{
    const QRectF target = letterboxed(m_currentFrame, boundingRect());
    drawScaled(painter, target, m_currentFrame);
    if (m_status == kPlayingStatus)
        return;
    painter.fillRect(target, QColor(0, 0, 0, kShadeAlpha));
    paintTexts(painter, target, m_status, retryText(), kOverPicture);
}
