#include "VirtualJoystick.h"

#include "CMain.h"
#include "input/JoystickInput.h"
#include "input/PodCommand.h"

#include <QSignalSpy>
#include <QTcpServer>
#include <QTcpSocket>
#include <QTemporaryDir>
#include <QtTest>

#include <array>
#include <memory>
#include <numeric>

using protocol::Command;

namespace {

constexpr int kWaitMs = 10000;
constexpr int kZoomAxis = 2;
constexpr int kFocusAxis = 3;
constexpr int kSpareAxis = 4;

/// The pod's end of the link: keeps what arrives, as frames.
class RecordingPod
{
public:
    RecordingPod()
    {
        m_server.listen(QHostAddress::LocalHost);
        QObject::connect(&m_server, &QTcpServer::newConnection, &m_server, [this] {
            m_peer = m_server.nextPendingConnection();
            QObject::connect(m_peer, &QTcpSocket::readyRead, m_peer,
                             [this] { m_bytes += m_peer->readAll(); });
        });
    }

    int port() const { return m_server.serverPort(); }

    bool hasPeer() const { return m_peer && m_peer->state() == QAbstractSocket::ConnectedState; }

    void hangUp() { m_peer->abort(); }

    void reportRecordingInLockMode()
    {
        QByteArray frame(29, '\0'); // a status frame: head, recording, mode, checksum
        frame.replace(0, 3, QByteArray::fromHex("ee011d"));
        frame[25] = 1;
        frame[27] = 1;
        frame[28] = static_cast<char>(std::accumulate(frame.cbegin(), frame.cend(), 0) & 0xFF);
        m_peer->write(frame);
    }

    void clear() { m_bytes.clear(); }

    qsizetype frameCount() const { return m_bytes.size() / kFrameSize; }

    qsizetype count(Command command, int argument0 = 0, int argument1 = 0) const
    {
        const QByteArray wanted = protocol::buildCommand(command, argument0, argument1);
        qsizetype found = 0;
        for (qsizetype i = 0; i + kFrameSize <= m_bytes.size(); i += kFrameSize)
            found += m_bytes.mid(i, kFrameSize) == wanted ? 1 : 0;
        return found;
    }

    QByteArray lastFrame() const { return m_bytes.right(kFrameSize); }

private:
    static constexpr qsizetype kFrameSize = 7;

    QTcpServer m_server;
    QPointer<QTcpSocket> m_peer;
    QByteArray m_bytes;
};

QByteArray frameOf(Command command) { return protocol::buildCommand(command); }

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
    void stopFallingDueWithoutALinkIsSentWhenItIsBack();
    void withoutALinkNothingIsTried();
    void buttonsAct();
    void everyActionReachesThePod();
    void buttonsGoByWhatThePodReports();
    void assignmentIsRestoredAfterARestart();
    void numbersOutOfRangeChangeNothing();

private:
    void connectLink();
    /// Waits until the device has been looked at once more: moves the axis that has no function.
    void awaitLook();
    /// Moves all three motions and waits for their commands to arrive.
    void moveEverything();

    QString m_startFolder;
    std::unique_ptr<QTemporaryDir> m_folder;
    std::unique_ptr<VirtualJoystick> m_device;
    std::unique_ptr<RecordingPod> m_pod;
    std::unique_ptr<CMain> m_backend;
    std::unique_ptr<JoystickInput> m_input;
    double m_spareAxis = 0;
};

void TestJoystick::initTestCase()
{
    m_startFolder = QDir::currentPath();
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
    m_spareAxis = 0;
    m_folder = std::make_unique<QTemporaryDir>();
    QDir::setCurrent(m_folder->path());
    m_device = std::make_unique<VirtualJoystick>();
    QVERIFY2(m_device->isValid(), SDL_GetError());
    m_pod = std::make_unique<RecordingPod>();
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
    QVERIFY(m_backend->connectTCP(QStringLiteral("127.0.0.1"), m_pod->port()));
    QTRY_VERIFY_WITH_TIMEOUT(m_pod->hasPeer(), kWaitMs);
    QTRY_VERIFY_WITH_TIMEOUT(m_input->isConnected(), kWaitMs);
    awaitLook(); // the stick is seen at its centre, over the new link
}

void TestJoystick::awaitLook()
{
    m_spareAxis = m_spareAxis < 0 ? 1 : -1;
    m_device->setAxis(kSpareAxis, m_spareAxis);
    QTRY_COMPARE_WITH_TIMEOUT(m_input->axes().at(kSpareAxis), m_spareAxis, kWaitMs);
}

void TestJoystick::moveEverything()
{
    m_device->setAxis(0, 1);
    m_device->setAxis(kZoomAxis, 1);
    m_device->setAxis(kFocusAxis, 1);
    QTRY_VERIFY_WITH_TIMEOUT(m_pod->count(Command::MoveRight, 200) > 0, kWaitMs);
    QTRY_VERIFY_WITH_TIMEOUT(m_pod->count(Command::ZoomIn, 4) > 0, kWaitMs);
    QTRY_VERIFY_WITH_TIMEOUT(m_pod->count(Command::ManualFocusFar) > 0, kWaitMs);
}

void TestJoystick::deviceComesAndGoes()
{
    QVERIFY(m_input->isAvailable());
    QVERIFY(!m_input->deviceName().isEmpty());
    QCOMPARE(m_input->axes().size(), input::kAxisCount);
    QCOMPARE(m_input->buttons().size(), input::kButtonCount);

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
    QTRY_VERIFY_WITH_TIMEOUT(m_pod->count(Command::MoveRight, 200) > 1, kWaitMs); // it repeats
    m_device->setAxis(1, -1);
    QTRY_VERIFY_WITH_TIMEOUT(m_pod->count(Command::MoveRightUp, 200, 200) > 0, kWaitMs);
    m_device->setAxis(0, 0);
    QTRY_VERIFY_WITH_TIMEOUT(m_pod->count(Command::MoveUp, 200) > 0, kWaitMs);
    m_device->setAxis(1, 0);
    QTRY_COMPARE_WITH_TIMEOUT(m_pod->lastFrame(), frameOf(Command::StopMove), kWaitMs);
    QCOMPARE(m_pod->count(Command::StopMove), 1);
}

void TestJoystick::endOfAMotionSendsItsStopOnce_data()
{
    QTest::addColumn<QString>("end");
    for (const char *end : {"device lost", "quit", "destroyed", "told to", "backend taken away"})
        QTest::newRow(end) << QString::fromLatin1(end);
}

void TestJoystick::endOfAMotionSendsItsStopOnce()
{
    QFETCH(QString, end);
    moveEverything();
    if (end == QLatin1String("device lost"))
        m_device.reset();
    else if (end == QLatin1String("quit"))
        QMetaObject::invokeMethod(qApp, "aboutToQuit", Qt::DirectConnection);
    else if (end == QLatin1String("destroyed"))
        m_input.reset();
    else if (end == QLatin1String("told to"))
        m_input->releaseAll();
    else
        m_input->setBackend(nullptr);

    for (const Command stop : {Command::StopMove, Command::ZoomStop, Command::ManualFocusStop})
        QTRY_COMPARE_WITH_TIMEOUT(m_pod->count(stop), 1, kWaitMs);
    // Nothing follows, though the stick may still be held.
    const qsizetype frames = m_pod->frameCount();
    QTest::qWait(3 * input::JoystickMapping::kCommandIntervalMs);
    QCOMPARE(m_pod->frameCount(), frames);
}

void TestJoystick::stopFallingDueWithoutALinkIsSentWhenItIsBack()
{
    moveEverything();
    m_pod->hangUp();
    QTRY_VERIFY_WITH_TIMEOUT(!m_backend->isConnected(), kWaitMs);
    m_pod->clear();
    connectLink();
    for (const Command stop : {Command::StopMove, Command::ZoomStop, Command::ManualFocusStop})
        QTRY_COMPARE_WITH_TIMEOUT(m_pod->count(stop), 1, kWaitMs);
    QTest::qWait(3 * input::JoystickMapping::kCommandIntervalMs);
    QCOMPARE(m_pod->frameCount(), 3); // the stick is still held and must be centred first
}

void TestJoystick::withoutALinkNothingIsTried()
{
    m_backend->disconnect();
    QSignalSpy refusals(m_backend.get(), &CMain::sbusDataError);
    m_input->setButtonAction(0, false, static_cast<int>(input::ButtonAction::Photo));
    m_device->setAxis(0, 1);
    m_device->setButton(0, true);
    QTRY_COMPARE_WITH_TIMEOUT(m_input->axes().first(), 1.0, kWaitMs);
    m_device->setButton(0, false);
    m_device->setAxis(0, 0);
    QTRY_COMPARE_WITH_TIMEOUT(m_input->axes().first(), 0.0, kWaitMs);
    QCOMPARE(refusals.size(), 0);
}

void TestJoystick::buttonsAct()
{
    m_input->setButtonAction(0, false, static_cast<int>(input::ButtonAction::Photo));
    m_input->setButtonAction(0, true, static_cast<int>(input::ButtonAction::StartTrack));
    awaitLook(); // the button is seen up

    m_device->setButton(0, true);
    QTRY_COMPARE_WITH_TIMEOUT(m_pod->count(Command::Pointtrack, 128, 128), 1, kWaitMs);
    m_device->setButton(0, false);
    QTRY_VERIFY_WITH_TIMEOUT(!m_input->buttons().first(), kWaitMs);
    QCOMPARE(m_pod->count(Command::TakePhoto), 0);
    QCOMPARE(m_pod->frameCount(), 1);
}

void TestJoystick::everyActionReachesThePod()
{
    // A long press on each button, so that a slow machine cannot turn it into the other kind.
    constexpr std::array kFirst = {
        Command::PitchDownOnly,  Command::ModeYawFollow,  Command::TakePhoto, Command::StartRecord,
        Command::Pointtrack,     Command::SetHZH,         Command::SetWC,     Command::OsdClose,
        Command::LaserLightOpen, Command::Pointtrackstop,
    };
    QCOMPARE(m_input->actionIds().size(), std::ssize(kFirst));
    QSignalSpy osdSpy(m_input.get(), &JoystickInput::osdOnChanged);
    for (int i = 0; i < input::kButtonCount; ++i)
        m_input->setButtonAction(i, true, i);
    awaitLook();
    for (int i = 0; i < input::kButtonCount; ++i)
        m_device->setButton(i, true);
    for (const Command command : kFirst) {
        const int centre = command == Command::Pointtrack ? 128 : 0;
        QTRY_COMPARE_WITH_TIMEOUT(m_pod->count(command, centre, centre), 1, kWaitMs);
    }
    QCOMPARE(m_pod->frameCount(), std::ssize(kFirst));
    QCOMPARE(osdSpy.size(), 1);
    QVERIFY(!m_input->isOsdOn());
    QVERIFY(m_input->isLaserLightOn());
}

void TestJoystick::buttonsGoByWhatThePodReports()
{
    m_input->setButtonAction(0, true, static_cast<int>(input::ButtonAction::Record));
    m_input->setButtonAction(1, true, static_cast<int>(input::ButtonAction::ModeChange));
    awaitLook();
    m_pod->reportRecordingInLockMode();
    QTRY_VERIFY_WITH_TIMEOUT(m_backend->recording(), kWaitMs);
    m_device->setButton(0, true);
    m_device->setButton(1, true);
    QTRY_COMPARE_WITH_TIMEOUT(m_pod->count(Command::StopRecord), 1, kWaitMs);
    QTRY_COMPARE_WITH_TIMEOUT(m_pod->count(Command::ModeFPV), 1, kWaitMs);
    QCOMPARE(m_pod->frameCount(), 2);
}

void TestJoystick::assignmentIsRestoredAfterARestart()
{
    m_input->setAxisInverted(0, true);
    m_input->setButtonAction(9, true, static_cast<int>(input::ButtonAction::StopTrack));
    m_input = std::make_unique<JoystickInput>();
    m_input->setBackend(m_backend.get());
    QCOMPARE(m_input->axisFunctions(), (QList{1, 2, 3, 4, 0}));
    QCOMPARE(m_input->axisInverted().first(), true);
    QCOMPARE(m_input->longActions().last(), static_cast<int>(input::ButtonAction::StopTrack));
    QCOMPARE(m_input->shortActions().last(), -1);
    awaitLook();
    m_device->setAxis(0, 1);
    QTRY_VERIFY_WITH_TIMEOUT(m_pod->count(Command::MoveLeft, 200) > 0, kWaitMs);
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
