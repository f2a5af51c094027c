#include "CaseTrace.h"
#include "Files.h"
#include "PodSim.h"
#include "UdpStreams.h"
#include "UiHarness.h"
#include "firmware/online/OnlineUpgrade.h"

#include <QRegularExpression>
#include <QTest>

#include <memory>
#include <tuple>

using namespace Qt::StringLiterals;

namespace {

constexpr int kWaitMs = 60000;
constexpr int kActivationMs = 400;
constexpr QSize kWide{1400, 600};                        // bars left and right of the picture
constexpr QSize kTall{900, 900};                         // and above and below it
const QString kSteering = u"00 08 00 80, 00 00 00 00"_s; // W, tapped

} // namespace

/// What takes a whole pod: clicks on its picture, upgrades from the drawer's buttons.
class TestSimulatedPod : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void init() { UiHarness::failOnAnyWarning(); }
    void clickPointsIntoThePicture();
    void clickOnAControlPointsNowhere();
    void recordsOnThisComputer();
    void encoderIsSwitched();
    void onlineUpgrade();
    void localUpgrade();
    void cleanupTestCase() { m_ui.reset(); }

private:
    void resize(QSize size)
    {
        m_ui->window()->resize(size);
        QTRY_COMPARE_WITH_TIMEOUT(m_ui->video()->width(), size.width() - 2, kWaitMs);
    }
    /// Clicks at a fraction of the picture, 0 to 1 on each axis.
    void clickPicture(QPointF fraction)
    {
        const QRectF picture = m_ui->video()->contentRect();
        const QPointF point(fraction.x() * picture.width(), fraction.y() * picture.height());
        QTest::mouseClick(m_ui->window(), Qt::LeftButton, {},
                          m_ui->at(u"videoRenderer"_s, picture.topLeft() + point));
    }

    PodSim m_sim;
    std::unique_ptr<UiHarness> m_ui;
    QTemporaryDir m_folder;
    const QByteArray m_bytes = mixedBytes(3000);
    QString m_image = writeFile(m_folder.filePath(u"image.bin"_s), m_bytes);
    QString m_received = m_folder.filePath(u"received.bin"_s);
};

void TestSimulatedPod::initTestCase()
{
    UiHarness::prepare();
    m_ui = std::make_unique<UiHarness>();
    m_ui->play(
        u"page 0; type urlInput %1; click urlButton; kept RTSP/rtspIp %1; "
        "see videoRenderer source %1; set podControlDrawer visible 0"_s.arg(m_sim.rtspUrl()));
    QTRY_VERIFY_WITH_TIMEOUT(!m_ui->video()->contentRect().isEmpty(), kWaitMs);
    static const QRegularExpression pattern(
        u"^1280×720 [1-9]\\d* fps \\d+ ms 丢失 \\d+(\\.\\d)? %$"_s);
    QTRY_VERIFY_WITH_TIMEOUT(
        pattern.match(m_ui->property(u"headUpVideoValue"_s, "text").toString()).hasMatch(),
        kWaitMs);
    m_ui->play(
        u"tap F4; see statistic0 text RTSP/UDP, h264, 1280×720; see statistic6 text 0; "
        "see statistic7 text 0; page 1; click statisticsButton; set podControlDrawer visible 0"_s);
    QVERIFY(!m_ui->window()->findChild<QObject *>(u"statisticsPanel"_s));
}

void TestSimulatedPod::clickPointsIntoThePicture()
{
    using Row = std::tuple<QSize, QPointF, QPoint>;
    for (const auto &[window, fraction, target] : {Row{kWide, {0.25, 0.75}, {64, 191}},
                                                   {kWide, {0.01, 0.01}, {3, 3}},
                                                   {kTall, {0.5, 0.5}, {128, 128}},
                                                   {kTall, {0.99, 0.99}, {252, 252}}}) {
        const CaseTrace trace(window, fraction);
        resize(window);
        for (const char command : {'\x10', '\x11'}) { // turn there, track there
            m_ui->backend().setIsTracking(command == '\x11');
            clickPicture(fraction);
            const QByteArray frame = QByteArray::fromHex(m_ui->pod().next(1).toLatin1());
            QCOMPARE(frame.first(2), QByteArray(1, command) + '\0');
            // Rounding to whole pixels may shift by one.
            QVERIFY2(qAbs(uchar(frame[2]) - target.x()) <= 1, frame.toHex());
            QVERIFY2(qAbs(uchar(frame[3]) - target.y()) <= 1, frame.toHex());
        }
    }
    m_ui->backend().setIsTracking(false);
    resize(kWide); // and beside it nowhere
    clickPicture({-0.01, 0.5});
    resize(kTall);
    clickPicture({0.5, 1.02});
    emit m_ui->video()->connectionLost(); // as the item does, its picture still shown
    clickPicture({0.5, 0.5});
    m_ui->play(u"tap W"_s);
    EXPECT_FRAMES(m_ui->pod(), kSteering);
    emit m_ui->video()->connectionRestored();
}

void TestSimulatedPod::clickOnAControlPointsNowhere()
{
    resize({1080, 720});
    const QString focus = u"1d 02 00 00, 1d 04 00 00, "_s;
    const QString steps =
        u"rightclick %1; click %1; press %1; dragto 60 0; dragto 0 0; release %1; "
        "tap W; sent %2"_s; // the drag is the control's, too
    m_ui->play(steps.arg(u"podControlsTools"_s, kSteering));
    m_ui->play(steps.arg(u"podSettings"_s, kSteering));
    m_ui->play(u"backend isManualFocus 1; "_s
               + steps.arg(u"plusButton"_s, focus + focus + kSteering));
    m_ui->play(u"set podControlDrawer visible 1; "_s + steps.arg(u"podControlDrawer"_s, kSteering));
    // What closes a menu, a list or a box does nothing else; nor does what activates the window.
    m_ui->play(u"set podControlDrawer visible 0"_s);
    for (const char *opening : {"menu zoomButton zoomMenu", "page 1; click comboboxfrequency",
                                "set podControlDrawer visible 1; click uprightButton; box 切换"}) {
        const QString after = QString::fromUtf8(opening) + u"; %1; tap W; sent "_s + kSteering;
        m_ui->play(after.arg(u"click videoRenderer"_s));
        m_ui->play(after.arg(u"press videoRenderer; dragto 60 0; drop 60 0"_s));
    }
    m_ui->play(u"set podControlDrawer visible 0; deactivate; activate; click videoRenderer; tap W; "
               "sent "_s
               + kSteering);
    QTest::qWait(kActivationMs); // after which a click is meant
    QTest::mouseDClick(m_ui->window(), Qt::LeftButton, {}, m_ui->centre(u"videoRenderer"_s));
    QVERIFY(m_ui->pod().next(1).startsWith(u"10 00 "));
    m_ui->play(u"tap W; sent "_s + kSteering);
    // Without a live picture a click is answered in the status line.
    m_sim.fault(u"video stall"_s);
    m_ui->play(u"see oldPictureMark visible true; click videoRenderer; "
               "see statusText text 没有实时画面，点击无效; tap W; sent "_s
               + kSteering);
    m_sim.fault(u"video resume"_s);
    m_ui->play(u"see oldPictureMark visible false"_s);
    m_ui->video()->stop();
    m_ui->play(u"click videoRenderer; see statusText text 没有实时画面，点击无效; tap W; sent "_s
               + kSteering);
}

void TestSimulatedPod::recordsOnThisComputer()
{
    m_ui->video()->play();
    QTRY_VERIFY_WITH_TIMEOUT(!m_ui->video()->contentRect().isEmpty(), kWaitMs);
    const QString folder = m_folder.filePath(u"recordings"_s);
    m_ui->play(
        u"page 0; set infoPage contentY 250; type recorderQuota 0; click recorderSetButton; box "
        u"请输入正确的录像总量上限; "
        "tap Escape; type recorderQuota 3; type recorderSeconds 5; type recorderFolder %1; "
        "click recorderSetButton; kept Recording/folder %1; kept Recording/secondsBefore 5; "
        "kept Recording/quota 3; pick snapshotFormat 1; see recorder snapshotFormat jpg; "
        "kept Recording/snapshotFormat jpg; set podControlDrawer visible 0; see "
        "headUpRecorderValue text 关; "
        "tap Shift+R; see recorder state Writing; see recorderSign visible true; tap P; "
        "reply ee0100d2040000000000000301000000000000000000001900010002; "
        // What is not written is not called so.
        "see headUpRecorderValue color #ff6b6b"_s.arg(folder));
    m_sim.fault(u"video stall"_s);
    m_ui->play(u"see recorder state Waiting; see headUpRecorderValue color #ffa500"_s);
    m_sim.fault(u"video resume"_s);
    m_ui->play(u"see recorder state Writing; click headUpRecorderButton; "
               "see recorder state Off; see recorderSign visible false; see noticeText text "_s);
    const QString file = m_ui->property(u"recorder"_s, "file").toString();
    QVERIFY2(file.startsWith(folder + u"/pod_"_s), qPrintable(file));
    const QByteArray log = contentOf(file.left(file.lastIndexOf(u'_')) + u".jsonl"_s);
    for (const char *event : {"\"name\":\"takePhoto\"", "\"range\":123.4", "\"playing\":true"})
        QVERIFY2(log.contains(event), log);
    // 22.5 and -1 degrees
    m_ui->play(u"reply ee010000000000000000000000403a690d806967ff00000000000000"_s);
    QTRY_COMPARE_WITH_TIMEOUT(m_ui->backend().targetLongitude(), -1.0, kWaitMs);
    m_ui->play(u"tap Shift+P"_s);
    QDir recordings(folder);
    QTRY_COMPARE_WITH_TIMEOUT(recordings.entryList({u"*.jpg"_s}).size(), 1, kWaitMs);
    const QString picture = recordings.filePath(recordings.entryList({u"*.jpg"_s}).first());
    m_ui->play(u"see statusText text 截图已保存: "_s + picture);
    QCOMPARE(QImage(picture).size(), QSize(1280, 720));
    ChildProcess reader(u"exiftool"_s,
                        {u"-n"_s, u"-p"_s, u"$GPSDestLatitude $GPSDestLongitude"_s, picture});
    QCOMPARE(reader.readLine(kWaitMs), "22.5 -1");
    // Its end by itself is told, and stays told.
    m_ui->play(u"tap Shift+R; see recorder state Writing"_s);
    QVERIFY(QDir(folder).removeRecursively());
    m_ui->play(u"see recorderSign visible false; see noticeText text "
               "本机录像已停止：录像文件或文件夹已被删除; page 0; "
               "set infoPage contentY 250; click recorderButton; "
               "see recorder state Writing; see noticeText text ; click recorderButton; "
               "see recorder state Off; set podControlDrawer visible 0"_s);
}

// The pod takes over what the drawer says, and the picture comes back by itself.
void TestSimulatedPod::encoderIsSwitched()
{
    const QString udp = freeUdpUrl();
    const PodSim sim({u"--size"_s, u"320x240"_s, u"--udp"_s, udp.mid(6)});
    UiHarness ui(UiHarness::kNoStream, false);
    QVERIFY(ui.backend().connectTCP(u"127.0.0.1"_s, sim.controlPort()));
    ui.play(u"tap F4; page 0; click b7nQueryButton; see encodetypecombo currentIndex 0"_s);
    for (const auto &[url, way] : {std::tuple{sim.rtspUrl(), u"RTSP/UDP"_s}, {udp, u"UDP"_s}}) {
        if (url == udp && !kUdpStreamsCanRun)
            continue;
        ui.play(u"type urlInput %1; click urlButton"_s.arg(url));
        for (const auto &[index, codec] : {std::tuple{1, u"hevc"_s}, {0, u"h264"_s}}) {
            const CaseTrace trace(url, codec);
            QTRY_VERIFY_WITH_TIMEOUT(!ui.video()->contentRect().isEmpty(), kWaitMs);
            ui.play(
                u"pick encodetypecombo %1; click b7nSetButton; box 重启后生效; tap Escape"_s.arg(
                    index));
            QTRY_COMPARE_WITH_TIMEOUT(ui.property(u"statistic0"_s, "text").toString(),
                                      u"%1, %2, 320×240"_s.arg(way, codec), kWaitMs);
            QTRY_VERIFY_WITH_TIMEOUT(!ui.video()->contentRect().isEmpty(), kWaitMs);
        }
    }
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
    // The pod's port is the bootloader's now, and leaving the page does not strand the run.
    ui.play(u"page 6; go updateButton; tap Space; box 将断开; tap Return; see window "
            u"gimbalConnected false; "
            u"page 0; page 6; "
            "see updateButton enabled false; see comupdateButton enabled false"_s);
    QTRY_COMPARE_WITH_TIMEOUT(ui.backend().upgradeProgress(), 101, kWaitMs);
    QTRY_COMPARE_WITH_TIMEOUT(contentOf(m_received), m_bytes, kWaitMs);
    ui.play(u"see progressBackground shown 100; click completeButton; "
            "see updateButton enabled true"_s);
    QFile::remove(m_received);
}

void TestSimulatedPod::localUpgrade()
{
    const PodSim sim({u"--bootloader"_s, u"--image"_s, m_received});
    UiHarness ui;
    // Without a pointer
    ui.play(
        u"tap F2; go pageButton6; tap Return; go filedirectionInput; keys %1; "
        "go updateportslist; keys %2; go comupdateButton; tap Space; box 将通过串口; tap Return; "
        "see comupdateButton enabled false; close; box 固件正在升级; tap Escape; "
        "see window visible true"_s.arg(m_image, sim.ptyPath()));
    QTRY_COMPARE_WITH_TIMEOUT(ui.backend().upgradeProgress(), 100, kWaitMs);
    QCOMPARE(contentOf(m_received), m_bytes);
    ui.play(u"see localUpgradeText text "_s + ui.backend().localUpgradeText());
    QVERIFY(!ui.backend().localUpgradeRunning());
    // One that had ended in the middle leaves no mark on the other kind.
    ui.backend().updateProgress(57);
    ui.play(
        u"click updateButton; box 将断开; click dialogButton; see progressBackground percent 0"_s);
}

QTEST_MAIN(TestSimulatedPod)
#include "tst_simulated_pod.moc"
