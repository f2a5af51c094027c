#include "PodSocket.h"
#include "VirtualJoystick.h"

#include "CMain.h"
#include "input/JoystickInput.h"

#include <QSignalSpy>
#include <QTemporaryDir>
#include <QtTest>

#include <memory>

using namespace Qt::StringLiterals;
using input::ButtonAction;

namespace {

constexpr int kWaitMs = 10000;
constexpr int kSpareAxis = 4;

// Full deflection to the right, in and far at a speed of 200, and the stops of the three motions.
const QString kRight = u"00 02 c8 00"_s;
const QStringList kMotions = {kRight, u"00 40 04 00"_s, u"1d 03 00 00"_s};
const QStringList kStops = {u"00 00 00 00"_s, u"00 60 00 00"_s, u"1d 04 00 00"_s};

} // namespace

/// The whole way: SDL's virtual device, JoystickInput, a real backend, bytes on a socket.
class TestJoystick : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void cleanupTestCase();
    void init();
    void cleanup();

    void deviceComesAndGoes();
    void stickSteersAndItsReturnStops();
    void endOfAMotionSendsItsStopOnce_data();
    void endOfAMotionSendsItsStopOnce();
    void withoutALinkNothingIsTried();
    void everyActionReachesThePod();
    void buttonsGoByWhatThePodReports();
    void assignmentIsRestoredAfterARestart();
    void numbersOutOfRangeChangeNothing();

private:
    void connectLink();
    /// Waits until the device has been looked at once more: moves the axis that has no function.
    void awaitLook();

    const QString m_startFolder = QDir::currentPath();
    std::unique_ptr<QTemporaryDir> m_folder;
    std::unique_ptr<VirtualJoystick> m_device;
    std::unique_ptr<PodSocket> m_pod;
    std::unique_ptr<CMain> m_backend;
    std::unique_ptr<JoystickInput> m_input;
};

void TestJoystick::initTestCase()
{
    QVERIFY2(VirtualJoystick::prepare(), SDL_GetError());
    if (SDL_NumJoysticks() > 0)
        QSKIP("A real joystick is plugged in; it would be read instead of the virtual one");
}

void TestJoystick::cleanupTestCase()
{
    SDL_QuitSubSystem(SDL_INIT_JOYSTICK);
    QDir::setCurrent(m_startFolder);
}

void TestJoystick::init()
{
    m_folder = std::make_unique<QTemporaryDir>();
    QDir::setCurrent(m_folder->path());
    m_device = std::make_unique<VirtualJoystick>();
    QVERIFY2(m_device->isValid(), SDL_GetError());
    m_pod = std::make_unique<PodSocket>();
    m_backend = std::make_unique<CMain>();
    m_backend->setMoveSpeed(200);
    m_input = std::make_unique<JoystickInput>();
    m_input->setBackend(m_backend.get());
    for (int axis = 0; axis < 4; ++axis)
        m_input->setAxisFunction(axis, axis + 1); // yaw, pitch, zoom, focus
    connectLink();
}

void TestJoystick::cleanup()
{
    m_input.reset();
    m_backend.reset();
    m_pod.reset();
    m_device.reset();
    QDir::setCurrent(m_startFolder);
    m_folder.reset();
}

void TestJoystick::connectLink()
{
    QVERIFY(m_backend->connectTCP(u"127.0.0.1"_s, m_pod->port()));
    QTRY_VERIFY_WITH_TIMEOUT(m_input->isConnected(), kWaitMs);
    awaitLook(); // the stick is seen at its centre, over the new link
}

void TestJoystick::awaitLook()
{
    const double spare = m_input->axes().at(kSpareAxis) < 0 ? 1 : -1;
    m_device->setAxis(kSpareAxis, spare);
    QTRY_COMPARE_WITH_TIMEOUT(m_input->axes().at(kSpareAxis), spare, kWaitMs);
}

void TestJoystick::deviceComesAndGoes()
{
    m_device->setAxis(4, -1);
    m_device->setButton(9, true);
    QTRY_COMPARE_WITH_TIMEOUT(m_input->axes().last(), -1.0, kWaitMs);
    QTRY_VERIFY_WITH_TIMEOUT(m_input->buttons().last(), kWaitMs);

    m_device.reset();
    QTRY_VERIFY_WITH_TIMEOUT(!m_input->isConnected(), kWaitMs);
    QVERIFY(m_input->deviceName().isEmpty());
    QCOMPARE(m_input->axes().last(), 0.0);
    QVERIFY(!m_input->buttons().last());

    m_device = std::make_unique<VirtualJoystick>();
    QTRY_VERIFY_WITH_TIMEOUT(m_input->isConnected(), kWaitMs);
}

void TestJoystick::stickSteersAndItsReturnStops()
{
    m_device->setAxis(0, 1);
    QTRY_VERIFY_WITH_TIMEOUT(m_pod->count(kRight) > 1, kWaitMs); // it repeats
    m_device->setAxis(1, -1);
    QTRY_VERIFY_WITH_TIMEOUT(m_pod->count(u"00 0a c8 c8"_s) > 0, kWaitMs);
    m_device->setAxis(0, 0);
    QTRY_VERIFY_WITH_TIMEOUT(m_pod->count(u"00 08 00 c8"_s) > 0, kWaitMs);
    m_device->setAxis(1, 0);
    QTRY_COMPARE_WITH_TIMEOUT(m_pod->frames().last(), kStops.first(), kWaitMs);
    QCOMPARE(m_pod->count(kStops.first()), 1);
}

void TestJoystick::endOfAMotionSendsItsStopOnce_data()
{
    QTest::addColumn<QString>("end");
    for (const char *end :
         {"device lost", "quit", "destroyed", "told to", "backend taken away", "link lost"})
        QTest::newRow(end) << QString::fromLatin1(end);
}

void TestJoystick::endOfAMotionSendsItsStopOnce()
{
    QFETCH(QString, end);
    for (const int axis : {0, 2, 3})
        m_device->setAxis(axis, 1);
    for (const QString &motion : kMotions)
        QTRY_VERIFY_WITH_TIMEOUT(m_pod->count(motion) > 0, kWaitMs);
    if (end == "device lost"_L1)
        m_device.reset();
    else if (end == "quit"_L1)
        QMetaObject::invokeMethod(qApp, "aboutToQuit", Qt::DirectConnection);
    else if (end == "destroyed"_L1)
        m_input.reset();
    else if (end == "told to"_L1)
        m_input->releaseAll();
    else if (end == "backend taken away"_L1)
        m_input->setBackend(nullptr);
    else { // the stops are owed until it is back
        m_pod->drop();
        QTRY_VERIFY_WITH_TIMEOUT(!m_backend->isConnected(), kWaitMs);
        m_pod->take();
        connectLink();
    }
    for (const QString &stop : kStops)
        QTRY_COMPARE_WITH_TIMEOUT(m_pod->count(stop), 1, kWaitMs);
    // Nothing follows, though the stick may still be held and must be centred first.
    const qsizetype frames = m_pod->frames().size();
    QTest::qWait(3 * input::JoystickMapping::kCommandIntervalMs);
    QCOMPARE(m_pod->frames().size(), frames);
}

void TestJoystick::withoutALinkNothingIsTried()
{
    m_backend->disconnect();
    QSignalSpy refusals(m_backend.get(), &CMain::sbusDataError);
    m_input->setButtonAction(0, false, int(ButtonAction::Photo));
    m_device->setAxis(0, 1);
    m_device->setButton(0, true);
    QTRY_COMPARE_WITH_TIMEOUT(m_input->axes().first(), 1.0, kWaitMs);
    m_device->setButton(0, false);
    m_device->setAxis(0, 0);
    QTRY_COMPARE_WITH_TIMEOUT(m_input->axes().first(), 0.0, kWaitMs);
    QCOMPARE(refusals.size(), 0);
}

void TestJoystick::everyActionReachesThePod()
{
    // A long press on each button, so that a slow machine cannot turn it into the other kind.
    const QStringList expected = {
        u"13 05 00 00"_s, u"13 00 00 00"_s, u"12 00 00 00"_s, u"12 01 00 00"_s, u"11 00 80 80"_s,
        u"14 00 00 00"_s, u"15 00 00 00"_s, u"19 01 00 00"_s, u"1b 00 00 00"_s, u"11 01 00 00"_s};
    QCOMPARE(m_input->actionIds().size(), expected.size());
    for (int i = 0; i < input::kButtonCount; ++i) {
        m_input->setButtonAction(i, true, i);
        m_input->setButtonAction(i, false, int(ButtonAction::Photo));
    }
    awaitLook();
    for (int i = 0; i < input::kButtonCount; ++i)
        m_device->setButton(i, true);
    for (const QString &command : expected)
        QTRY_COMPARE_WITH_TIMEOUT(m_pod->count(command), 1, kWaitMs);
    QVERIFY(!m_input->isOsdOn());
    QVERIFY(m_input->isLaserLightOn());
    for (int i = 0; i < input::kButtonCount; ++i)
        m_device->setButton(i, false);
    QTRY_VERIFY_WITH_TIMEOUT(!m_input->buttons().contains(true), kWaitMs);
    QCOMPARE(m_pod->frames().size(), expected.size()); // no photos
}

void TestJoystick::buttonsGoByWhatThePodReports()
{
    m_input->setButtonAction(0, true, int(ButtonAction::Record));
    m_input->setButtonAction(1, true, int(ButtonAction::ModeChange));
    awaitLook();
    m_pod->send(statusFrame({{25, 1}, {27, 1}})); // recording, in lock mode
    QTRY_VERIFY_WITH_TIMEOUT(m_backend->recording(), kWaitMs);
    m_device->setButton(0, true);
    m_device->setButton(1, true);
    EXPECT_FRAMES(*m_pod, u"12 02 00 00, 13 06 00 00"_s);
}

void TestJoystick::assignmentIsRestoredAfterARestart()
{
    m_input->setAxisInverted(0, true);
    m_input->setButtonAction(9, true, int(ButtonAction::StopTrack));
    m_input = std::make_unique<JoystickInput>();
    m_input->setBackend(m_backend.get());
    QCOMPARE(m_input->axisFunctions(), (QList{1, 2, 3, 4, 0}));
    QCOMPARE(m_input->axisInverted().first(), true);
    QCOMPARE(m_input->longActions().last(), int(ButtonAction::StopTrack));
    QCOMPARE(m_input->shortActions().last(), -1);
    awaitLook();
    m_device->setAxis(0, 1);
    QTRY_VERIFY_WITH_TIMEOUT(m_pod->count(u"00 04 c8 00"_s) > 0, kWaitMs);
}

void TestJoystick::numbersOutOfRangeChangeNothing()
{
    QSignalSpy changes(m_input.get(), &JoystickInput::assignmentChanged);
    for (const int axis : {-1, input::kAxisCount}) {
        m_input->setAxisFunction(axis, 1);
        m_input->setAxisInverted(axis, true);
    }
    for (const int button : {-1, input::kButtonCount})
        m_input->setButtonAction(button, false, 0);
    for (const int value : {-2, 5, 10})
        m_input->setAxisFunction(0, value);
    for (const int value : {-2, 10})
        m_input->setButtonAction(0, true, value);
    m_input->setAxisFunction(0, 1); // what it is already
    QCOMPARE(changes.size(), 0);
}

QTEST_GUILESS_MAIN(TestJoystick)
#include "tst_joystick.moc"
