#include "PodSim.h"
#include "UiHarness.h"
#include "firmware/online/OnlineUpgrade.h"

#include <QFile>
#include <QTemporaryDir>
#include <QTest>

using namespace Qt::StringLiterals;

namespace {

constexpr int kUpgradeMs = 60000;

QByteArray contentOf(const QString &path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

} // namespace

/// Both firmware upgrades as the operator makes them: from the drawer's buttons to the image in
/// the simulated bootloader.
class TestFirmwarePage : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void onlineUpgrade();
    void localUpgrade();
    void cleanupTestCase() { QCOMPARE(UiHarness::warnings(), QStringList()); }

private:
    QTemporaryDir m_folder;
    QString m_image = m_folder.filePath(u"image.bin"_s);
    QString m_received = m_folder.filePath(u"received.bin"_s);
    QByteArray m_bytes;
};

void TestFirmwarePage::initTestCase()
{
    UiHarness::prepare();
    for (int i = 0; i < 3000; ++i)
        m_bytes.append(static_cast<char>(i * 7 + i / 256));
    QFile file(m_image);
    QVERIFY(file.open(QIODevice::WriteOnly));
    QCOMPARE(file.write(m_bytes), m_bytes.size());
}

void TestFirmwarePage::onlineUpgrade()
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
    QTRY_COMPARE_WITH_TIMEOUT(ui.backend().upgradeProgress(), 101, kUpgradeMs);
    QTRY_COMPARE_WITH_TIMEOUT(contentOf(m_received), m_bytes, kUpgradeMs);
    QCOMPARE(ui.property(u"progressBackground"_s, "shown").toDouble(), 100.0);
    QVERIFY(ui.text(u"messageLabel"_s).contains(u"发送固件"_s));
    ui.play(u"click completeButton"_s);
    QCOMPARE(ui.backend().upgradeProgress(), 0);
    QFile::remove(m_received);
}

void TestFirmwarePage::localUpgrade()
{
    PodSim sim({u"--bootloader"_s, u"--image"_s, m_received});
    UiHarness ui;
    ui.play(
        u"page 6; type filedirectionInput %1; type updateportslist %2; click comupdateButton"_s.arg(
            m_image, sim.ptyPath()));
    QTRY_COMPARE_WITH_TIMEOUT(ui.backend().upgradeProgress(), 100, kUpgradeMs);
    QCOMPARE(contentOf(m_received), m_bytes);
    QCOMPARE(ui.text(u"localUpgradeText"_s), ui.backend().localUpgradeText());
    QVERIFY(!ui.backend().localUpgradeRunning());
}

QTEST_MAIN(TestFirmwarePage)
#include "tst_firmware_page.moc"
