#include "PodSim.h"
#include "UiHarness.h"
#include "firmware/online/OnlineUpgrade.h"

#include <QFile>
#include <QSignalSpy>
#include <QTest>

#include <array>
#include <memory>

using namespace Qt::StringLiterals;

namespace {

constexpr int kWaitMs = 30000;
constexpr int kUpgradeMs = 60000;
const QString kSteering = u"00 08 00 80, 00 00 00 00"_s; // W, tapped

QByteArray contentOf(const QString &path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

} // namespace

/// What takes a whole pod: clicks on its picture, and not the item around it nor the controls above
/// it; upgrades from the drawer's buttons to the image in the bootloader.
class TestSimulatedPod : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void init() { UiHarness::failOnAnyWarning(); }
    void clickPointsIntoThePicture_data();
    void clickPointsIntoThePicture();
    void clickOnAControlPointsNowhere();
    void reconnectingStreamIsNotPointedAt();
    void newAddressIsPlayed();
    void onlineUpgrade();
    void localUpgrade();
    void cleanupTestCase() { m_ui.reset(); }

private:
    /// Clicks at a fraction of the picture, 0 to 1 on each axis.
    void clickPicture(QPointF fraction);

    PodSim m_sim;
    std::unique_ptr<UiHarness> m_ui;
    QTemporaryDir m_folder;
    QString m_image = m_folder.filePath(u"image.bin"_s);
    QString m_received = m_folder.filePath(u"received.bin"_s);
    QByteArray m_bytes;
};

void TestSimulatedPod::initTestCase()
{
    UiHarness::prepare();
    m_ui = std::make_unique<UiHarness>("[RTSP]\nrtspIp=" + m_sim.rtspUrl().toUtf8() + "\n");
    QTRY_VERIFY_WITH_TIMEOUT(!m_ui->video()->contentRect().isEmpty(), kWaitMs);
    for (int i = 0; i < 3000; ++i)
        m_bytes.append(static_cast<char>(i * 7 + i / 256));
    QFile file(m_image);
    QVERIFY(file.open(QIODevice::WriteOnly));
    QCOMPARE(file.write(m_bytes), m_bytes.size());
}

void TestSimulatedPod::clickPicture(QPointF fraction)
{
    const QRectF picture = m_ui->video()->contentRect();
    const QPointF point(picture.x() + fraction.x() * picture.width(),
                        picture.y() + fraction.y() * picture.height());
    QTest::mouseClick(m_ui->window(), Qt::LeftButton, {}, m_ui->at(u"videoRenderer"_s, point));
}

void TestSimulatedPod::clickPointsIntoThePicture_data()
{
    QTest::addColumn<QSize>("window");
    QTest::addColumn<QPointF>("fraction");
    QTest::addColumn<QPoint>("target"); // null: none
    const QSize wide(1400, 600);        // bars left and right
    const QSize tall(900, 900);         // bars above and below
    QTest::newRow("wide, quarter") << wide << QPointF(0.25, 0.75) << QPoint(64, 191);
    QTest::newRow("wide, first corner") << wide << QPointF(0.01, 0.01) << QPoint(3, 3);
    QTest::newRow("tall, middle") << tall << QPointF(0.5, 0.5) << QPoint(128, 128);
    QTest::newRow("tall, last corner") << tall << QPointF(0.99, 0.99) << QPoint(252, 252);
    QTest::newRow("left bar") << wide << QPointF(-0.01, 0.5) << QPoint();
    QTest::newRow("lower bar") << tall << QPointF(0.5, 1.02) << QPoint();
}

void TestSimulatedPod::clickPointsIntoThePicture()
{
    QFETCH(QSize, window);
    QFETCH(QPointF, fraction);
    QFETCH(QPoint, target);
    m_ui->window()->resize(window);
    QTRY_COMPARE_WITH_TIMEOUT(m_ui->video()->width(), window.width() - 2, kWaitMs);
    for (const char command : {'\x10', '\x11'}) { // turn there, track there
        m_ui->backend().setIsTracking(command == '\x11');
        clickPicture(fraction);
        if (target.isNull()) {
            m_ui->play(u"tap W"_s);
            EXPECT_FRAMES(m_ui->pod(), kSteering);
            continue;
        }
        const QByteArray frame = QByteArray::fromHex(m_ui->pod().next(1).toLatin1());
        QCOMPARE(frame.first(2), QByteArray(1, command) + '\0');
        // Rounding to whole pixels may shift by one.
        QVERIFY2(qAbs(uchar(frame[2]) - target.x()) <= 1, frame.toHex());
        QVERIFY2(qAbs(uchar(frame[3]) - target.y()) <= 1, frame.toHex());
    }
    m_ui->backend().setIsTracking(false);
}

void TestSimulatedPod::clickOnAControlPointsNowhere()
{
    m_ui->window()->resize(1080, 720);
    const QString focus = u"1d 02 00 00, 1d 04 00 00, "_s;
    using Row = std::array<QString, 3>; // own: what the control's clicks and drag send
    for (const auto &[opening, control, own] :
         {Row{u""_s, u"podControlsTools"_s, u""_s}, Row{u""_s, u"podSettings"_s, u""_s},
          Row{u"backend isManualFocus 1"_s, u"plusButton"_s, focus + focus},
          Row{u"click settingsImage"_s, u"podControlDrawer"_s, u""_s}}) {
        m_ui->play(opening);
        m_ui->play(u"rightclick %1; click %1; press %1"_s.arg(control));
        // A drag that begins on the control steers nothing either, and is the control's.
        for (const int x : {3, 12, 120, 180})
            QTest::mouseMove(m_ui->window(), m_ui->centre(control) - QPoint(x, 0));
        m_ui->play(u"release %1; tap W"_s.arg(control));
        EXPECT_FRAMES(m_ui->pod(), own + kSteering);
        m_ui->play(u"tap Escape; backend isManualFocus 0; set podControlDrawer visible 0"_s);
    }
}

void TestSimulatedPod::reconnectingStreamIsNotPointedAt()
{
    clickPicture({0.5, 0.5});
    QVERIFY(m_ui->pod().next(1).startsWith(u"10 00 "));
    emit m_ui->video()->connectionLost(); // as the item does, its picture still shown
    clickPicture({0.5, 0.5});
    m_ui->play(u"tap W"_s);
    EXPECT_FRAMES(m_ui->pod(), kSteering);
    emit m_ui->video()->connectionRestored();
    clickPicture({0.5, 0.5});
    QVERIFY(m_ui->pod().next(1).startsWith(u"10 00 "));
}

void TestSimulatedPod::newAddressIsPlayed()
{
    const PodSim other;
    const QSignalSpy played(m_ui->video(), &VideoRenderer::playingChanged);
    m_ui->play(u"page 0"_s);
    m_ui->object(u"urlInput"_s)->setProperty("text", other.rtspUrl());
    m_ui->play(u"click urlButton; kept RTSP/rtspIp "_s + other.rtspUrl());
    QCOMPARE(m_ui->video()->source(), other.rtspUrl());
    // Off, and on again.
    QTRY_VERIFY_WITH_TIMEOUT(played.count() >= 2 && m_ui->video()->status() == u"播放中", kWaitMs);
    m_ui->video()->stop();
}

void TestSimulatedPod::onlineUpgrade()
{
    PodSim sim({u"--upgrade-bootloader"_s, u"--image"_s, m_received, u"--upgrade-server"_s, m_image,
                u"--upgrade-port"_s, u"0"_s});
    UiHarness ui;
    OnlineUpgrade::Environment environment;
    environment.listPorts = [&sim] {
        return QList<SerialPortEntry>{{sim.ptyPath(), pod_port::kVendorId, pod_port::kProductId}};
    };
    environment.worker.settleMs = 20;
    environment.worker.serverAddress = u"127.0.0.1"_s;
    environment.worker.serverPort = sim.upgradePort();
    ui.backend().onlineUpgrade()->setEnvironment(environment);
    ui.play(u"page 6; click updateButton"_s);
    QVERIFY(!ui.backend().isConnected()); // the pod's port is the bootloader's now
    ui.play(u"page 0; page 6"_s);         // leaving the page does not strand the run
    QVERIFY(!ui.property(u"updateButton"_s, "enabled").toBool());
    QTRY_COMPARE_WITH_TIMEOUT(ui.backend().upgradeProgress(), 101, kUpgradeMs);
    QTRY_COMPARE_WITH_TIMEOUT(contentOf(m_received), m_bytes, kUpgradeMs);
    QCOMPARE(ui.property(u"progressBackground"_s, "shown").toDouble(), 100.0);
    ui.play(u"click completeButton"_s);
    QVERIFY(ui.property(u"updateButton"_s, "enabled").toBool());
    QFile::remove(m_received);
}

void TestSimulatedPod::localUpgrade()
{
    const PodSim sim({u"--bootloader"_s, u"--image"_s, m_received});
    UiHarness ui;
    ui.play(
        u"page 6; type filedirectionInput %1; type updateportslist %2; click comupdateButton"_s.arg(
            m_image, sim.ptyPath()));
    QTRY_COMPARE_WITH_TIMEOUT(ui.backend().upgradeProgress(), 100, kUpgradeMs);
    QCOMPARE(contentOf(m_received), m_bytes);
    QCOMPARE(ui.text(u"localUpgradeText"_s), ui.backend().localUpgradeText());
    QVERIFY(!ui.backend().localUpgradeRunning());
}

QTEST_MAIN(TestSimulatedPod)
#include "tst_simulated_pod.moc"
