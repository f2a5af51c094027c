#include "PodSim.h"
#include "UiHarness.h"

#include <QQmlExpression>
#include <QTest>

#include <memory>

using namespace Qt::StringLiterals;

namespace {

constexpr int kWaitMs = 30000;
const QString kVideo = u"videoRenderer"_s;

QByteArray settingsFor(const QString &url) { return "[RTSP]\nrtspIp=" + url.toUtf8() + "\n"; }

} // namespace

/// Clicks on a picture of the simulator's stream: what is pointed at is the picture, not the item
/// around it nor the controls above it.
class TestPointing : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void cleanupTestCase();

    void clickPointsIntoThePicture_data();
    void clickPointsIntoThePicture();
    void clickTracksWhileTrackingIsOn();
    void clickOnAControlPointsNowhere_data();
    void clickOnAControlPointsNowhere();
    void controlKeepsItsDrag();
    void dragDoesNotPoint();
    void reconnectingStreamIsNotPointedAt();
    void newAddressIsPlayed();

private:
    /// Clicks at a fraction of the picture, 0 to 1 on each axis.
    void clickPicture(double x, double y);

    std::unique_ptr<PodSim> m_sim;
    std::unique_ptr<UiHarness> m_ui;
};

void TestPointing::initTestCase()
{
    UiHarness::prepare();
    m_sim = std::make_unique<PodSim>();
    m_ui = std::make_unique<UiHarness>(settingsFor(m_sim->rtspUrl()));
    QTRY_VERIFY_WITH_TIMEOUT(!m_ui->video()->contentRect().isEmpty(), kWaitMs);
}

void TestPointing::cleanupTestCase()
{
    m_ui.reset();
    m_sim.reset();
    QCOMPARE(UiHarness::warnings(), QStringList());
}

void TestPointing::clickPicture(double x, double y)
{
    const QRectF picture = m_ui->video()->contentRect();
    const QPointF point(picture.x() + x * picture.width(), picture.y() + y * picture.height());
    QTest::mouseClick(m_ui->window(), Qt::LeftButton, {}, m_ui->at(kVideo, point));
}

void TestPointing::clickPointsIntoThePicture_data()
{
    QTest::addColumn<QSize>("window");
    QTest::addColumn<QPointF>("fraction");
    QTest::addColumn<QPoint>("target"); // -1: none
    const QSize wide(1400, 600);        // bars left and right
    const QSize tall(900, 900);         // bars above and below
    for (const QSize &size : {wide, tall}) {
        const QByteArray name = size == wide ? "wide" : "tall";
        QTest::newRow((name + ", middle").constData())
            << size << QPointF(0.5, 0.5) << QPoint(128, 128);
        QTest::newRow((name + ", quarter").constData())
            << size << QPointF(0.25, 0.75) << QPoint(64, 191);
        QTest::newRow((name + ", first corner").constData())
            << size << QPointF(0.01, 0.01) << QPoint(3, 3);
        QTest::newRow((name + ", last corner").constData())
            << size << QPointF(0.99, 0.99) << QPoint(252, 252);
    }
    QTest::newRow("left bar") << wide << QPointF(-0.01, 0.5) << QPoint(-1, -1);
    QTest::newRow("right bar") << wide << QPointF(1.01, 0.5) << QPoint(-1, -1);
    QTest::newRow("upper bar") << tall << QPointF(0.5, -0.02) << QPoint(-1, -1);
    QTest::newRow("lower bar") << tall << QPointF(0.5, 1.02) << QPoint(-1, -1);
}

void TestPointing::clickPointsIntoThePicture()
{
    QFETCH(QSize, window);
    QFETCH(QPointF, fraction);
    QFETCH(QPoint, target);
    m_ui->window()->resize(window);
    QTRY_COMPARE_WITH_TIMEOUT(m_ui->video()->width(), window.width() - 2, kWaitMs);
    clickPicture(fraction.x(), fraction.y());
    if (target.x() < 0) {
        QCOMPARE(m_ui->pod().takeFrames(), QStringList());
        return;
    }
    const QStringList frames = m_ui->pod().waitForFrames(1);
    QCOMPARE(frames.size(), 1);
    const QByteArray bytes = QByteArray::fromHex(frames.first().toLatin1());
    // A pixel is less than a step of the pod's scale; rounding to whole pixels may shift by one.
    QVERIFY2(qAbs(uchar(bytes[4]) - target.x()) <= 1, qPrintable(frames.first()));
    QVERIFY2(qAbs(uchar(bytes[5]) - target.y()) <= 1, qPrintable(frames.first()));
    QCOMPARE(frames.first(), shortFrame(0x10, 0x00, uchar(bytes[4]), uchar(bytes[5])));
}

void TestPointing::clickTracksWhileTrackingIsOn()
{
    m_ui->backend().setIsTracking(true);
    clickPicture(0.5, 0.5);
    const QStringList frames = m_ui->pod().waitForFrames(1);
    QVERIFY2(frames.first().startsWith(u"ff 01 11 00"_s), qPrintable(frames.first()));
    m_ui->backend().setIsTracking(false);
}

void TestPointing::clickOnAControlPointsNowhere_data()
{
    QTest::addColumn<QString>("control");
    QTest::addColumn<Qt::MouseButton>("button");
    for (const char *control : {"podControlsTools", "podSettings", "zoomButton", "mouseIn",
                                "manualfocusbuttons", "plusButton", "podControlDrawer"}) {
        QTest::addRow("%s, left", control) << QString::fromLatin1(control) << Qt::LeftButton;
        QTest::addRow("%s, right", control) << QString::fromLatin1(control) << Qt::RightButton;
    }
}

void TestPointing::clickOnAControlPointsNowhere()
{
    QFETCH(QString, control);
    QFETCH(Qt::MouseButton, button);
    m_ui->window()->resize(1080, 720);
    m_ui->backend().setIsManualFocus(true);
    if (control == u"mouseIn"_s)
        m_ui->openMenu(u"zoomButton"_s, u"zoomMenu"_s);
    if (control == u"podControlDrawer"_s)
        m_ui->click(u"settingsImage"_s);
    // A drag that begins on the control steers nothing either.
    m_ui->click(control, button);
    m_ui->press(control, button);
    QTest::mouseMove(m_ui->window(), m_ui->centre(control) - QPoint(120, 0));
    QTest::mouseMove(m_ui->window(), m_ui->centre(control) - QPoint(180, 0));
    m_ui->release(control, button);

    QTest::keyClick(m_ui->window(), Qt::Key_W); // marks the end
    QStringList frames = m_ui->pod().waitForFrames(2);
    for (const QString &own : {shortFrame(0x00, 0x40, 4), shortFrame(0x00, 0x60),
                               shortFrame(0x1d, 0x02), shortFrame(0x1d, 0x04)})
        frames.removeAll(own);
    QCOMPARE(frames, (QStringList{shortFrame(0x00, 0x08, 0, 128), shortFrame(0x00, 0x00)}));
    QTest::keyClick(m_ui->window(), Qt::Key_Escape);
    if (m_ui->item(u"podControlDrawer"_s)->isVisible())
        m_ui->click(u"settingsImage"_s);
    m_ui->backend().setIsManualFocus(false);
}

void TestPointing::controlKeepsItsDrag()
{
    m_ui->openMenu(u"zoomButton"_s, u"zoomMenu"_s);
    const double middle = m_ui->item(u"mouseIn"_s)->height() / 2;
    QTest::mousePress(m_ui->window(), Qt::LeftButton, {}, m_ui->at(u"mouseIn"_s, {3, middle}));
    for (const int x : {20, 30, 40})
        QTest::mouseMove(m_ui->window(), m_ui->at(u"mouseIn"_s, {double(x), middle}));
    QCOMPARE(m_ui->pod().takeFrames(), QStringList{shortFrame(0x00, 0x40, 4)});
    QTest::mouseRelease(m_ui->window(), Qt::LeftButton, {}, m_ui->at(u"mouseIn"_s, {40, middle}));
    QCOMPARE(m_ui->pod().waitForFrames(1), QStringList{shortFrame(0x00, 0x60)});
}

void TestPointing::dragDoesNotPoint()
{
    const QPoint start = m_ui->centre(kVideo);
    QTest::mousePress(m_ui->window(), Qt::LeftButton, {}, start);
    QTest::mouseMove(m_ui->window(), start + QPoint(40, 0));
    QTest::mouseRelease(m_ui->window(), Qt::LeftButton, {}, start + QPoint(40, 0));
    QStringList frames = m_ui->pod().waitForFrames(3);
    QCOMPARE(frames.removeAll(shortFrame(0x00, 0x00)), 2);
    frames.removeAll(shortFrame(0x00, 0x02, 128));
    QCOMPARE(frames, QStringList());
}

void TestPointing::newAddressIsPlayed()
{
    PodSim other;
    QQmlExpression(qmlContext(m_ui->window()), m_ui->window(),
                   u"podControlDrawer.urlChanged('%1')"_s.arg(other.rtspUrl()))
        .evaluate();
    QCOMPARE(m_ui->property(u"statusText"_s, "text").toString(), u"URL已更新，重新连接中..."_s);
    QCOMPARE(m_ui->video()->source(), other.rtspUrl());
    QTRY_VERIFY_WITH_TIMEOUT(m_ui->property(u"statusText"_s, "text").toString().contains(u"播放中"),
                             kWaitMs);
    m_sim.reset(); // the old stream is no longer needed
    QTRY_VERIFY_WITH_TIMEOUT(!m_ui->video()->contentRect().isEmpty(), kWaitMs);
    m_ui->video()->stop();
}

void TestPointing::reconnectingStreamIsNotPointedAt()
{
    clickPicture(0.5, 0.5);
    QCOMPARE(m_ui->pod().waitForFrames(1).size(), 1);
    auto *statusText = m_ui->object(u"statusText"_s);
    emit m_ui->video()->connectionLost(); // as the item does, its picture still shown
    QVERIFY(statusText->property("text").toString().contains(u"重连"));
    clickPicture(0.5, 0.5);
    QTest::keyClick(m_ui->window(), Qt::Key_W);
    QCOMPARE(m_ui->pod().waitForFrames(2),
             (QStringList{shortFrame(0x00, 0x08, 0, 128), shortFrame(0x00, 0x00)}));
    emit m_ui->video()->connectionRestored();
    clickPicture(0.5, 0.5);
    QCOMPARE(m_ui->pod().waitForFrames(1).size(), 1);
}

QTEST_MAIN(TestPointing)
#include "tst_pointing.moc"
