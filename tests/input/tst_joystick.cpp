#include "PodSocket.h"
#include "VirtualJoystick.h"

#include "CMain.h"
#include "input/JoystickInput.h"

#include <QSettings>
#include <QTemporaryDir>
#include <QtTest>

#include <functional>
#include <memory>

using namespace Qt::StringLiterals;
using input::ButtonAction;

namespace {

constexpr int kWaitMs = 10000;
constexpr int kSpareAxis = 4;

// Full deflection to the right, in and far at a speed of 200, and the stops of the three motions.
const QStringList kMotions = {u"00 02 c8 00"_s, u"00 40 04 00"_s, u"1d 03 00 00"_s};
const QStringList kStops = {u"00 00 00 00"_s, u"00 60 00 00"_s, u"1d 04 00 00"_s};

/// The whole way: SDL's virtual device, JoystickInput, a real backend, bytes on a socket.
class Flight
{
    const QTemporaryDir m_folder; // of the settings file

public:
    std::unique_ptr<VirtualJoystick> device;
    PodSocket pod;
    CMain backend;
    std::unique_ptr<JoystickInput> input;

    Flight()
        : device(QDir::setCurrent(m_folder.path()) ? std::make_unique<VirtualJoystick>() : nullptr)
        , input(std::make_unique<JoystickInput>())
    {
        QVERIFY2(device && device->isValid(), SDL_GetError());
        backend.setMoveSpeed(200);
        input->setBackend(&backend);
        for (int axis = 0; axis < kSpareAxis; ++axis)
            input->setAxisFunction(axis, axis + 1); // yaw, pitch, zoom, focus
        connectLink();
    }

    void connectLink()
    {
        QVERIFY(backend.connectTCP(u"127.0.0.1"_s, pod.port()));
        awaitLook();
    }

    /// Waits until the device has been looked at once more: moves the axis that has no function.
    void awaitLook()
    {
        QTRY_VERIFY_WITH_TIMEOUT(input->isConnected(), kWaitMs);
        const double spare = input->axes().at(kSpareAxis) < 0 ? 1 : -1;
        device->setAxis(kSpareAxis, spare);
        QTRY_COMPARE_WITH_TIMEOUT(input->axes().at(kSpareAxis), spare, kWaitMs);
    }
};

using End = std::function<void(Flight &)>;

} // namespace

class TestJoystick : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void cleanupTestCase() { SDL_QuitSubSystem(SDL_INIT_JOYSTICK); }
    void stickSteersAndItsReturnStops();
    void endOfAMotionSendsItsStopOnce_data();
    void endOfAMotionSendsItsStopOnce();
    void everyActionReachesThePod();
    void assignmentIsRestoredAfterARestart();
};

void TestJoystick::initTestCase()
{
    QVERIFY2(VirtualJoystick::prepare(), SDL_GetError());
    if (SDL_NumJoysticks() > 0)
        QSKIP("A real joystick is plugged in; it would be read instead of the virtual one");
}

void TestJoystick::stickSteersAndItsReturnStops()
{
    Flight flight;
    flight.device.reset(); // pulled out and put in again
    QTRY_VERIFY_WITH_TIMEOUT(!flight.input->isConnected(), kWaitMs);
    flight.device = std::make_unique<VirtualJoystick>();
    flight.awaitLook();
    flight.device->setAxis(0, 1);
    QTRY_VERIFY_WITH_TIMEOUT(flight.pod.count(kMotions.first()) > 1, kWaitMs); // it repeats
    flight.device->setAxis(1, -0.55);
    QTRY_VERIFY_WITH_TIMEOUT(flight.pod.count(u"00 0a c8 64"_s) > 0, kWaitMs);
    flight.device->setAxis(0, 0);
    flight.device->setAxis(1, 0);
    QTRY_COMPARE_WITH_TIMEOUT(flight.pod.frames().last(), kStops.first(), kWaitMs);
}

void TestJoystick::endOfAMotionSendsItsStopOnce_data()
{
    QTest::addColumn<End>("end");
    const auto row = [](const char *name, const End &end) { QTest::newRow(name) << end; };
    row("device lost", [](Flight &flight) { flight.device.reset(); });
    row("quit",
        [](Flight &) { QMetaObject::invokeMethod(qApp, "aboutToQuit", Qt::DirectConnection); });
    row("destroyed", [](Flight &flight) { flight.input.reset(); });
    row("backend taken away", [](Flight &flight) { flight.input->setBackend(nullptr); });
    row("link lost", [](Flight &flight) { // the stops are owed until it is back
        flight.pod.drop();
        QTRY_VERIFY_WITH_TIMEOUT(!flight.backend.isConnected(), kWaitMs);
        flight.pod.take();
        flight.connectLink();
    });
}

void TestJoystick::endOfAMotionSendsItsStopOnce()
{
    QFETCH(End, end);
    Flight flight;
    for (const int axis : {0, 2, 3})
        flight.device->setAxis(axis, 1);
    for (const QString &motion : kMotions)
        QTRY_VERIFY_WITH_TIMEOUT(flight.pod.count(motion) > 0, kWaitMs);
    end(flight);
    for (const QString &stop : kStops)
        QTRY_COMPARE_WITH_TIMEOUT(flight.pod.count(stop), 1, kWaitMs);
    // Nothing follows, though the stick may still be held and must be centred first.
    const qsizetype frames = flight.pod.frames().size();
    QTest::qWait(2 * input::JoystickMapping::kCommandIntervalMs);
    QCOMPARE(flight.pod.frames().size(), frames);
}

void TestJoystick::everyActionReachesThePod()
{
    const QStringList expected = {
        u"13 05 00 00"_s, u"13 06 00 00"_s, u"12 00 00 00"_s, u"12 02 00 00"_s, u"11 00 80 80"_s,
        u"14 00 00 00"_s, u"15 00 00 00"_s, u"19 01 00 00"_s, u"1b 00 00 00"_s, u"11 01 00 00"_s};
    Flight flight;
    for (int i = 0; i < input::kButtonCount; ++i) {
        flight.input->setButtonAction(i, true, i);
        flight.input->setButtonAction(i, false, int(ButtonAction::Photo));
    }
    flight.pod.send(statusFrame({{25, 1}, {27, 1}})); // recording, in lock mode: goes on from there
    QTRY_VERIFY_WITH_TIMEOUT(flight.backend.recording(), kWaitMs);
    flight.awaitLook();
    // A long press on each button, so that a slow machine cannot turn it into the other kind.
    for (int i = 0; i < input::kButtonCount; ++i)
        flight.device->setButton(i, true);
    for (const QString &command : expected)
        QTRY_COMPARE_WITH_TIMEOUT(flight.pod.count(command), 1, kWaitMs);
    for (int i = 0; i < input::kButtonCount; ++i)
        flight.device->setButton(i, false);
    QTRY_VERIFY_WITH_TIMEOUT(!flight.input->buttons().contains(true), kWaitMs);
    QCOMPARE(flight.pod.frames().size(), expected.size()); // no photos
}

void TestJoystick::assignmentIsRestoredAfterARestart()
{
    Flight flight;
    flight.input->setAxisInverted(0, true);
    flight.input->setButtonAction(9, true, int(ButtonAction::StopTrack));
    QSettings file(u"device_config.ini"_s, QSettings::IniFormat);
    file.setValue(u"Joystick/axisYFunction"_s, u"roll"_s); // edited by hand, and badly
    file.setValue(u"Joystick/axisYInverted"_s, u"banana"_s);
    file.setValue(u"Joystick/button2Long"_s, 7);
    file.sync();
    flight.input = std::make_unique<JoystickInput>();
    QCOMPARE(flight.input->axisFunctions(), (QList{1, 0, 3, 4, 0}));
    QCOMPARE(flight.input->axisInverted(), (QList{true, false, false, false, false}));
    QCOMPARE(flight.input->longActions(), QList<int>(9, -1) << int(ButtonAction::StopTrack));
    QCOMPARE(flight.input->shortActions(), QList<int>(10, -1));
}

QTEST_GUILESS_MAIN(TestJoystick)
#include "tst_joystick.moc"
