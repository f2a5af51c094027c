#include "PodSim.h"
#include "UiHarness.h"

#include <QQmlExpression>
#include <QTest>

#include <memory>

using namespace Qt::StringLiterals;

namespace {

constexpr int kWaitMs = 30000;
const QString kSteering = u"00 08 00 80, 00 00 00 00"_s; // W, tapped

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
    void clickOnAControlPointsNowhere_data();
    void clickOnAControlPointsNowhere();
    void reconnectingStreamIsNotPointedAt();
    void newAddressIsPlayed();

private:
    /// Clicks at a fraction of the picture, 0 to 1 on each axis.
    void clickPicture(QPointF fraction);

    std::unique_ptr<PodSim> m_sim;
    std::unique_ptr<UiHarness> m_ui;
};

void TestPointing::initTestCase()
{
    UiHarness::prepare();
    m_sim = std::make_unique<PodSim>();
    m_ui = std::make_unique<UiHarness>("[RTSP]\nrtspIp=" + m_sim->rtspUrl().toUtf8() + "\n");
    QTRY_VERIFY_WITH_TIMEOUT(!m_ui->video()->contentRect().isEmpty(), kWaitMs);
}

void TestPointing::cleanupTestCase()
{
    m_ui.reset();
    m_sim.reset();
    QCOMPARE(UiHarness::warnings(), QStringList());
}

void TestPointing::clickPicture(QPointF fraction)
{
    const QRectF picture = m_ui->video()->contentRect();
    const QPointF point =
        picture.topLeft()
        + QPointF(fraction.x() * picture.width(), fraction.y() * picture.height());
    QTest::mouseClick(m_ui->window(), Qt::LeftButton, {}, m_ui->at(u"videoRenderer"_s, point));
}

void TestPointing::clickPointsIntoThePicture_data()
{
    QTest::addColumn<QSize>("window");
    QTest::addColumn<QPointF>("fraction");
    QTest::addColumn<QPoint>("target"); // -1: none
    constexpr QPoint kNone(-1, -1);
    const QSize wide(1400, 600); // bars left and right
    const QSize tall(900, 900);  // bars above and below
    for (const QSize &size : {wide, tall}) {
        const char *name = size == wide ? "wide" : "tall";
        QTest::addRow("%s, middle", name) << size << QPointF(0.5, 0.5) << QPoint(128, 128);
        QTest::addRow("%s, quarter", name) << size << QPointF(0.25, 0.75) << QPoint(64, 191);
        QTest::addRow("%s, first corner", name) << size << QPointF(0.01, 0.01) << QPoint(3, 3);
        QTest::addRow("%s, last corner", name) << size << QPointF(0.99, 0.99) << QPoint(252, 252);
    }
    QTest::newRow("left bar") << wide << QPointF(-0.01, 0.5) << kNone;
    QTest::newRow("right bar") << wide << QPointF(1.01, 0.5) << kNone;
    QTest::newRow("upper bar") << tall << QPointF(0.5, -0.02) << kNone;
    QTest::newRow("lower bar") << tall << QPointF(0.5, 1.02) << kNone;
}

void TestPointing::clickPointsIntoThePicture()
{
    QFETCH(QSize, window);
    QFETCH(QPointF, fraction);
    QFETCH(QPoint, target);
    m_ui->window()->resize(window);
    QTRY_COMPARE_WITH_TIMEOUT(m_ui->video()->width(), window.width() - 2, kWaitMs);
    if (target.x() < 0) {
        clickPicture(fraction);
        m_ui->play(u"tap W"_s);
        EXPECT_FRAMES(m_ui->pod(), kSteering);
        return;
    }
    for (const char command : {'\x10', '\x11'}) { // turn there, track there
        m_ui->backend().setIsTracking(command == '\x11');
        clickPicture(fraction);
        const QByteArray frame = QByteArray::fromHex(m_ui->pod().next(1).toLatin1());
        QCOMPARE(frame.size(), 4);
        QCOMPARE(frame.first(2), QByteArray(1, command) + '\0');
        // A pixel is less than a step of the pod's scale; rounding to whole pixels may shift by
        // one.
        QVERIFY2(qAbs(uchar(frame[2]) - target.x()) <= 1, frame.toHex());
        QVERIFY2(qAbs(uchar(frame[3]) - target.y()) <= 1, frame.toHex());
    }
    m_ui->backend().setIsTracking(false);
}

void TestPointing::clickOnAControlPointsNowhere_data()
{
    QTest::addColumn<QString>("opening");
    QTest::addColumn<QString>("control");
    QTest::addColumn<QString>("own"); // what its clicks and its drag send
    const auto row = [](const char *opening, const QString &control, const QString &own = {}) {
        QTest::newRow(qPrintable(control)) << QString::fromLatin1(opening) << control << own;
    };
    const QString focus = u"1d 02 00 00, 1d 04 00 00, "_s;
    row("", u"podControlsTools"_s);
    row("", u"podSettings"_s);
    row("", u"zoomButton"_s);
    row("backend isManualFocus 1", u"manualfocusbuttons"_s);
    row("backend isManualFocus 1", u"plusButton"_s, focus + focus);
    row("click settingsImage", u"podControlDrawer"_s);
}

void TestPointing::clickOnAControlPointsNowhere()
{
    QFETCH(QString, opening);
    QFETCH(QString, control);
    QFETCH(QString, own);
    m_ui->window()->resize(1080, 720);
    m_ui->play(opening);
    m_ui->play(u"rightclick %1; click %1"_s.arg(control));
    // A drag that begins on the control steers nothing either, and is the control's.
    m_ui->play(u"press "_s + control);
    for (const int x : {3, 12, 120, 180})
        QTest::mouseMove(m_ui->window(), m_ui->centre(control) - QPoint(x, 0));
    m_ui->play(u"release %1; tap W"_s.arg(control));
    EXPECT_FRAMES(m_ui->pod(), own + kSteering);
    m_ui->play(u"tap Escape; backend isManualFocus 0; set podControlDrawer visible 0"_s);
}

void TestPointing::reconnectingStreamIsNotPointedAt()
{
    m_ui->play(u"drag 40 0; drop 40 0"_s); // a drag is no click either
    QTRY_COMPARE_WITH_TIMEOUT(m_ui->pod().count(u"00 00 00 00"_s), 2, kWaitMs);
    QCOMPARE(m_ui->pod().count(u"00 02 80 00"_s), m_ui->pod().frames().size() - 2);
    m_ui->pod().take();

    clickPicture({0.5, 0.5});
    QVERIFY(m_ui->pod().next(1).startsWith(u"10 00 "));
    emit m_ui->video()->connectionLost(); // as the item does, its picture still shown
    QVERIFY(m_ui->text(u"statusText"_s).contains(u"重连"));
    clickPicture({0.5, 0.5});
    m_ui->play(u"tap W"_s);
    EXPECT_FRAMES(m_ui->pod(), kSteering);
    emit m_ui->video()->connectionRestored();
    clickPicture({0.5, 0.5});
    QVERIFY(m_ui->pod().next(1).startsWith(u"10 00 "));
}

void TestPointing::newAddressIsPlayed()
{
    PodSim other;
    QQmlExpression(qmlContext(m_ui->window()), m_ui->window(),
                   u"podControlDrawer.urlChanged('%1')"_s.arg(other.rtspUrl()))
        .evaluate();
    QCOMPARE(m_ui->text(u"statusText"_s), u"URL已更新，重新连接中..."_s);
    QCOMPARE(m_ui->video()->source(), other.rtspUrl());
    QTRY_VERIFY_WITH_TIMEOUT(m_ui->text(u"statusText"_s).contains(u"播放中"), kWaitMs);
    m_sim.reset(); // the old stream is no longer needed
    QTRY_VERIFY_WITH_TIMEOUT(!m_ui->video()->contentRect().isEmpty(), kWaitMs);
    m_ui->video()->stop();
}

QTEST_MAIN(TestPointing)
#include "tst_pointing.moc"
