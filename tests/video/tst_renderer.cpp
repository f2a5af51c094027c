// The video item against podsim: its painting, its texts, and how it brings a stream back.

#include "PodSim.h"
#include "video/VideoRenderer.h"

#include <QImage>
#include <QPainter>
#include <QQuickWindow>
#include <QRandomGenerator>
#include <QSignalSpy>
#include <QTest>

using namespace Qt::StringLiterals;

namespace {

constexpr int kRecoverMs = 20000;
const QString kPlaying = u"播放中"_s;
const QStringList kSmallPicture = {u"--size"_s, u"320x240"_s};

/// Collects every status in order, from the moment it is made.
class StatusLog
{
public:
    explicit StatusLog(VideoRenderer &item)
    {
        QObject::connect(&item, &VideoRenderer::statusChanged, &item,
                         [this, &item] { m_lines.append(item.status()); });
    }

    QString joined() const { return m_lines.join(u'|'); }

    void clear() { m_lines.clear(); }

private:
    QStringList m_lines;
};

QImage painted(VideoRenderer &item, const QSize &size)
{
    item.setSize(size);
    QImage canvas(size, QImage::Format_RGB32);
    canvas.fill(Qt::magenta);
    QPainter painter(&canvas);
    item.paint(&painter);
    return canvas;
}

QImage whitePicture(const QSize &size)
{
    QImage picture(size, QImage::Format_RGBA8888);
    picture.fill(Qt::white);
    return picture;
}

void give(VideoRenderer &item, const QImage &picture)
{
    QMetaObject::invokeMethod(&item, "onFrameReady", Q_ARG(QImage, picture));
}

/// Pixels of `area` that are far from black.
int litPixels(const QImage &image, const QRect &area)
{
    int count = 0;
    for (int y = area.top(); y <= area.bottom(); ++y) {
        for (int x = area.left(); x <= area.right(); ++x)
            count += qGray(image.pixel(x, y)) > 128 ? 1 : 0;
    }
    return count;
}

} // namespace

class TestRenderer : public QObject
{
    Q_OBJECT

private slots:
    void propertyRules();
    void networkErrorsAreNotShown();
    void paintsLetterboxed();
    void paintsWithoutSeams();
    void paintsTexts();
    void paintsEachPictureOnce();
    void lossIsTriedAgainUntilGivenUp();
    void failedFirstOpenIsTriedAgain();
    void streamComesBack();
    void stalledStreamRecoversByItself();
    void lossWithoutAutoReconnect();
    void stopEndsTheRetries();
    void manualReconnectBeginsAtOnce();
};

void TestRenderer::propertyRules()
{
    VideoRenderer item;
    const QSignalSpy interval(&item, &VideoRenderer::reconnectIntervalChanged);
    const QSignalSpy attempts(&item, &VideoRenderer::maxReconnectAttemptsChanged);
    const QSignalSpy errors(&item, &VideoRenderer::errorOccurred);
    for (const int ms : {999, 5000, 1000, 1000}) // too short, the default, new, again
        item.setReconnectInterval(ms);
    for (const int count : {0, -1, 10, 1})
        item.setMaxReconnectAttempts(count);
    QCOMPARE(item.reconnectInterval(), 1000);
    QCOMPARE(item.maxReconnectAttempts(), 1);
    QCOMPARE(interval.size(), 1);
    QCOMPARE(attempts.size(), 1);
    item.play();
    QCOMPARE(item.status(), u"错误: 未设置视频源"_s);
    QCOMPARE(errors.size(), 1);
    item.reconnect();
    QVERIFY(!item.isReconnecting());
}

void TestRenderer::networkErrorsAreNotShown()
{
    const QString ready = u"就绪"_s;
    const QString prefix = u"错误: "_s;
    QList<std::pair<QString, QString>> cases = {
        {u"未找到视频流"_s, prefix + u"未找到视频流"_s},
        {QString(50, u'x'), prefix + QString(50, u'x')},
        {QString(60, u'x'), prefix + QString(47, u'x') + u"..."_s},
        {u"a Socket"_s, prefix + u"a Socket"_s},
    };
    for (const QString &network :
         {QString(), u"读取帧失败"_s, u"超时"_s, u"断开"_s, u"中断"_s, u"流结束"_s, u"连接"_s,
          u"无法打开"_s, u"打开视频流"_s, u"网络"_s, u"a socket"_s})
        cases.append({network, ready});
    for (const auto &[error, status] : std::as_const(cases)) {
        VideoRenderer item;
        const QSignalSpy errors(&item, &VideoRenderer::errorOccurred);
        QMetaObject::invokeMethod(&item, "onErrorOccurred", Q_ARG(QString, error));
        QCOMPARE(item.status(), status);
        QCOMPARE(errors.size(), status == ready ? 0 : 1);
        if (!errors.isEmpty())
            QCOMPARE(errors[0][0].toString(), error); // in full
    }
}

void TestRenderer::paintsLetterboxed()
{
    const std::pair<QSize, QRect> cases[] = {{QSize(400, 400), QRect(0, 100, 400, 200)},
                                             {QSize(600, 200), QRect(100, 0, 400, 200)},
                                             {QSize(200, 100), QRect(0, 0, 200, 100)}};
    for (const auto &[size, picture] : cases) {
        VideoRenderer renderer;
        const QSignalSpy rects(&renderer, &VideoRenderer::contentRectChanged);
        give(renderer, whitePicture({100, 50}));
        const QImage canvas = painted(renderer, size);
        QCOMPARE(renderer.contentRect(), QRectF(picture));
        QVERIFY(!rects.isEmpty());
        // Nothing of the status over a playing picture: all of it is white, all else black.
        QCOMPARE(litPixels(canvas, canvas.rect()), picture.width() * picture.height());
        QCOMPARE(litPixels(canvas, picture), picture.width() * picture.height());
    }
}

// The picture is drawn in bands and must look as if drawn at once.
void TestRenderer::paintsWithoutSeams()
{
    const std::pair<QSize, double> cases[] = {
        {QSize(1920, 1080), 1.0},  // shrunk
        {QSize(1920, 1080), 1.25}, // on a screen scaled by a fraction
        {QSize(320, 240), 1.7},    // enlarged
    };
    for (const auto &[picture, scale] : cases) {
        const QSize size(1000, 701);
        QImage noise(picture, QImage::Format_RGBA8888);
        QRandomGenerator random(7);
        for (int y = 0; y < noise.height(); ++y) {
            for (int x = 0; x < noise.width(); ++x)
                noise.setPixel(x, y, random.generate() | 0xff000000U);
        }
        VideoRenderer item;
        item.setSize(size);
        give(item, noise);
        QImage canvas((QSizeF(size) * scale).toSize(), QImage::Format_RGB32);
        QImage expected = canvas;
        for (QImage *image : {&canvas, &expected}) {
            QPainter painter(image);
            painter.scale(scale, scale);
            if (image == &canvas) {
                item.paint(&painter);
            } else {
                painter.fillRect(QRectF({}, size), Qt::black);
                painter.drawImage(item.contentRect(), noise, QRectF(noise.rect()));
            }
        }
        QVERIFY(canvas == expected);
    }
}

void TestRenderer::paintsTexts()
{
    const QSize size(400, 300);
    const QRect middle(100, 130, 200, 40);
    VideoRenderer item;
    QImage canvas = painted(item, size);
    QVERIFY(litPixels(canvas, middle) > 20); // "就绪" on black
    QCOMPARE(litPixels(canvas, QRect(100, 270, 200, 30)), 0);
    give(item, whitePicture({40, 30}));
    QMetaObject::invokeMethod(&item, "onErrorOccurred", Q_ARG(QString, u"xxxx"_s));
    canvas = painted(item, size); // the picture shaded, the text over it
    QVERIFY(qGray(canvas.pixel(5, 5)) < 128);
    QVERIFY(qGray(canvas.pixel(5, 5)) > 60);
    QVERIFY(litPixels(canvas, middle) > 20);
}

void TestRenderer::paintsEachPictureOnce()
{
    struct Item : VideoRenderer
    {
        void paint(QPainter *painter) override
        {
            ++paints;
            VideoRenderer::paint(painter);
        }

        int paints = 0;
    };
    QQuickWindow window;
    Item item;
    item.setParentItem(window.contentItem());
    item.setSize({200, 100});
    window.resize(200, 100);
    window.show();
    QImage picture(100, 50, QImage::Format_RGBA8888);
    for (quint64 number = 1; number <= 3; ++number) {
        picture.fill(Qt::white);
        give(item, picture);
        QTRY_COMPARE(item.statistics().presented, number);
        // The ticks that find no newer one must not cost a painting each.
        QTest::qWait(50);
        item.paints = 0;
        for (int tick = 0; tick < 10; ++tick) {
            give(item, picture);
            QTest::qWait(5);
        }
        QCOMPARE(item.paints, 0);
    }
}

void TestRenderer::lossIsTriedAgainUntilGivenUp()
{
    PodSim sim(kSmallPicture);
    VideoRenderer item;
    QSignalSpy lost(&item, &VideoRenderer::connectionLost);
    QSignalSpy errors(&item, &VideoRenderer::errorOccurred);
    item.setReconnectInterval(1000);
    item.setMaxReconnectAttempts(3);
    item.setSource(sim.rtspUrl());
    StatusLog statuses(item);
    item.play();
    QCOMPARE(item.status(), kPlaying);
    QTRY_VERIFY_WITH_TIMEOUT(!item.contentRect().isNull() || item.width() == 0, kRecoverMs);
    sim.fault(u"video kill"_s);
    QTRY_COMPARE_WITH_TIMEOUT(errors.size(), 1, kRecoverMs);
    QCOMPARE(errors[0][0].toString(), u"重连失败，已达最大重试次数"_s);
    QCOMPARE(lost.size(), 1);
    QCOMPARE(
        statuses.joined(),
        u"正在连接...|播放中|连接中断，1秒后重连...|重连中... (2/3)|重连失败，1秒后重试... (2/3)|"
        "重连中... (3/3)|重连失败，已达最大重试次数"_s);
    QVERIFY(!item.isReconnecting());
}

void TestRenderer::failedFirstOpenIsTriedAgain()
{
    VideoRenderer item;
    item.setReconnectInterval(1000);
    item.setMaxReconnectAttempts(2);
    item.setSource(u"/no/such/file.ts"_s);
    StatusLog statuses(item);
    QSignalSpy errors(&item, &VideoRenderer::errorOccurred);
    item.play();
    QVERIFY(item.isReconnecting());
    QTRY_COMPARE_WITH_TIMEOUT(errors.size(), 1, kRecoverMs);
    QCOMPARE(
        statuses.joined(),
        u"正在连接...|连接失败|连接失败，1秒后重试...|重连中... (2/2)|重连失败，已达最大重试次数"_s);
}

void TestRenderer::streamComesBack()
{
    PodSim sim(kSmallPicture);
    VideoRenderer item;
    QSignalSpy restored(&item, &VideoRenderer::connectionRestored);
    item.setReconnectInterval(1000);
    item.setSource(sim.rtspUrl());
    item.setSize(QSizeF(320, 240));
    item.play();
    QTRY_VERIFY_WITH_TIMEOUT(!item.contentRect().isNull(), kRecoverMs);
    QTRY_COMPARE(restored.size(), 1); // also of the first connection
    StatusLog statuses(item);
    for (int round = 0; round < 2; ++round) { // the end of a stream, then a dead server
        statuses.clear();
        sim.fault(round == 0 ? u"video end"_s : u"video kill"_s);
        QTRY_VERIFY_WITH_TIMEOUT(item.isReconnecting(), kRecoverMs);
        QVERIFY(item.contentRect().isNull()); // no old picture that looks like a live one
        if (round == 1)
            sim.fault(u"video restart"_s);
        QTRY_VERIFY_WITH_TIMEOUT(item.status() == kPlaying && !item.contentRect().isNull(),
                                 kRecoverMs);
        QCOMPARE(statuses.joined(), u"连接中断，1秒后重连...|重连中... (2/10)|重连成功|播放中"_s);
        QVERIFY(!item.isReconnecting());
        QVERIFY(item.playing());
    }
}

void TestRenderer::stalledStreamRecoversByItself()
{
    PodSim sim(kSmallPicture);
    VideoRenderer item;
    item.setSource(sim.rtspUrl());
    item.play();
    StatusLog statuses(item);
    sim.fault(u"video stall"_s);
    QTRY_VERIFY_WITH_TIMEOUT(item.isReconnecting(), kRecoverMs);
    sim.fault(u"video resume"_s);
    QTRY_COMPARE_WITH_TIMEOUT(item.status(), kPlaying, kRecoverMs);
    QTest::qWait(item.reconnectInterval() + 500); // the attempt that was due must not come
    QCOMPARE(statuses.joined(), u"连接中断，5秒后重连...|播放中"_s);
}

void TestRenderer::lossWithoutAutoReconnect()
{
    PodSim sim(kSmallPicture);
    VideoRenderer item;
    QSignalSpy lost(&item, &VideoRenderer::connectionLost);
    item.setAutoReconnect(false);
    item.setSource(sim.rtspUrl());
    item.play();
    sim.fault(u"video kill"_s);
    QTRY_COMPARE_WITH_TIMEOUT(lost.size(), 1, kRecoverMs);
    QCOMPARE(item.status(), u"连接中断"_s);
    QTest::qWait(300); // the old picture, sent again, must not turn it green
    QCOMPARE(item.status(), u"连接中断"_s);
    QVERIFY(!item.isReconnecting());
}

void TestRenderer::stopEndsTheRetries()
{
    VideoRenderer item;
    item.setReconnectInterval(1000);
    item.setSource(u"/no/such/file.ts"_s);
    item.play();
    QTRY_VERIFY_WITH_TIMEOUT(item.status().startsWith(u"重连失败，1秒后重试"_s), kRecoverMs);
    item.stop();
    StatusLog statuses(item);
    QTest::qWait(1500);
    QCOMPARE(statuses.joined(), QString());
    QCOMPARE(item.status(), u"已停止"_s);

    item.play();
    item.setAutoReconnect(false); // while waiting
    QVERIFY(!item.isReconnecting());
    QTest::qWait(1500);
    QCOMPARE(item.status(), u"连接失败，1秒后重试..."_s);
}

void TestRenderer::manualReconnectBeginsAtOnce()
{
    PodSim sim(kSmallPicture);
    VideoRenderer item;
    item.setSource(sim.rtspUrl());
    StatusLog statuses(item);
    item.reconnect();
    QTRY_COMPARE_WITH_TIMEOUT(item.status(), kPlaying, kRecoverMs);
    QCOMPARE(statuses.joined(), u"重连中... (1/10)|重连成功|播放中"_s);
}

QTEST_MAIN(TestRenderer)
#include "tst_renderer.moc"
