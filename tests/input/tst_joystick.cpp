#include "PodSocket.h"
#include "VirtualStick.h"

#include "backend/CMain.h"
#include "input/ActionResolver.h"
#include "input/JoystickMapping.h"
#include "motion/MotionGuard.h"
#include "motion/MotionLedger.h"

#include <QSettings>
#include <QTemporaryDir>
#include <QtTest>

#include <functional>
#include <memory>

using namespace Qt::StringLiterals;
using namespace input;

namespace {

constexpr int kWaitMs = VirtualStick::kWaitMs;

// Half up and fully to the right at a speed of 200, in and far; and the stops of the three motions.
constexpr std::array kDeflections = {1.0, -0.55, 1.0, 1.0};
const QStringList kMotions = {u"00 0a c8 64"_s, u"00 40 04 00"_s, u"1d 03 00 00"_s};
const QStringList kStops = {u"00 00 00 00"_s, u"00 60 00 00"_s, u"1d 04 00 00"_s};

/// The whole way: SDL's virtual device, JoystickInput, guard, a real backend, bytes on a socket.
struct Flight
{
    const QTemporaryDir folder; // of the settings file
    const bool isThere = QDir::setCurrent(folder.path());
    PodSocket pod;
    CMain backend;
    MotionGuard guard;
    std::unique_ptr<JoystickInput> input = std::make_unique<JoystickInput>();
    VirtualStick stick;

    Flight()
    {
        backend.setMoveSpeed(200);
        input->setBackend(&backend);
        input->setGuard(&guard);
        const auto perform = [this](const QString &name, const QVariantList &speeds = {}) {
            QVariantList both = speeds;
            both.resize(2);
            const auto started = motion::startedBy(std::string_view(name.toStdString()));
            const auto *stopped = std::ranges::find(motion::kMotions, name, [](const auto &motion) {
                return QString::fromLatin1(motion.stop.name.data());
            });
            backend.send(started ? started.start->command : stopped->stop.command, both[0].toInt(),
                         both[1].toInt());
        };
        QObject::connect(&guard, &MotionGuard::commandDue, &backend, perform);
        QObject::connect(&guard, &MotionGuard::stopDue, &backend, perform);
        QObject::connect(&backend, &CMain::connectionChanged, &guard, &MotionGuard::setLinkUp);
        for (int axis = 0; axis < VirtualStick::kSpareAxis; ++axis)
            input->setAxisFunction(axis, axis + 1); // yaw, pitch, zoom, focus
        QVERIFY(backend.connectTCP(u"127.0.0.1"_s, pod.port()));
        plugIn();
    }

    void plugIn()
    {
        stick.plugIn();
        stick.awaitLook(input.get());
    }
};

/// Commands and actions as text, "moveRight 128; stopMove; photo", arguments of zero left out.
QString textOf(const QList<PodCommand> &commands, const QList<ButtonAction> &actions = {})
{
    QStringList texts;
    for (const PodCommand &command : commands) {
        const auto name = protocol::commandSpec(command.command).name;
        texts.append(QString::fromLatin1(name.data(), qsizetype(name.size())));
        for (const int argument : {command.argument0, command.argument1})
            texts.last() += argument ? u" %1"_s.arg(argument) : QString();
    }
    for (const ButtonAction action : actions)
        texts.append(buttonActionIds().at(int(action)));
    return texts.join(u"; "_s);
}

constexpr qint64 kLoss = -1;     // of the device or of the link, instead of a look
constexpr qint64 kReassign = -2; // of the zoom's axis to the focus, the same
struct Look
{
    qint64 laterMs;
    std::array<double, kAxisCount> axes;
    const char *events;
    bool button = false;
    int moveSpeed = 100;
};

using End = std::function<void(Flight &)>;

} // namespace

class TestJoystick : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void looksBecomeCommands();
    void actionsGoOnFromTheLast();
    void cleanupTestCase() { VirtualStick::end(); }
    void endOfAMotionSendsItsStopOnce_data();
    void endOfAMotionSendsItsStopOnce();
    void stopIsOwedUntilProved();
    void everyActionReachesThePod();
    void assignmentIsRestoredAfterARestart();
};

void TestJoystick::initTestCase()
{
    if (!VirtualStick::prepare())
        QSKIP("There is a real joystick, or SDL reads none");
}

void TestJoystick::looksBecomeCommands()
{
    // Each of a mapping of its own, whose device has been seen at rest.
    const QList<QList<Look>> stories = {
        {{0, {1, 0, 1, 1}, "moveRight 100; zoomIn 4; manualFocusFar"},
         {1, {0, 0, 0, 1}, "stopMove; zoomStop"},
         {100, {-1, 0, -0.15, -1}, "moveLeft 100; zoomOut 1; manualFocusNear"},
         {100, {0, -1}, "moveUp 100; zoomStop; manualFocusStop"},
         {100, {0, 1}, "moveDown 100"},
         {100, {1, -0.55}, "moveRightUp 100 50"},
         {100, {-0.55, -1}, "moveLeftUp 50 100"},
         {100, {-1, 1}, "moveLeftDown 100 100"},
         // Of two axes for one motion the furthest out counts.
         {100, {0.55, 0, 0, 0, 1}, "moveLeft 100"}, // inverted
         {100, {1, 0.55, 0, 0, 0.55}, "moveRightDown 100 50"}},
        // Repeats are held back, stops are not.
        {{0, {1}, "moveRight 100"},
         {99, {0.55}, ""},
         {1, {0.55}, "moveRight 50"},
         {1, {}, "stopMove"},
         {1, {1}, ""}, // counts from the last start, not from the stop
         {1, {}, ""},  // nothing moves, so nothing is stopped
         {97, {1}, "moveRight 100"},
         {1, {1, 0, 1}, "zoomIn 4"}}, // each motion has an interval of its own
        // An axis coming to rest is stopped at once, and a reversal stops first.
        {{0, {1, 1}, "moveRightDown 100 100"},
         {1, {0, 1}, "moveDown 100"},
         {1, {1, 1}, ""}, // taking it up again has to wait
         {1, {1}, "stopMove"},
         {100, {1}, "moveRight 100"},
         {10, {-1}, "stopMove"},
         {90, {-1}, "moveLeft 100"}},
        // A tremble at the edge of the dead zone starts nothing.
        {{200, {0.1, 0.101, -0.1}, ""},
         {200, {0.2}, "moveRight 11"},
         {200, {0.105}, "moveRight 1"}, // still off centre
         {200, {0.1}, "stopMove"}},
        // What is held over a change counts again once centred.
        {{0, {1, 0, 1, -1}, "moveRight 100; zoomIn 4; manualFocusNear"},
         {kLoss, {}, "stopMove; zoomStop; manualFocusStop"},
         {1000, {1, 0, 1, -1}, ""},
         {1000, {0, 0, 1, -1}, ""},
         {1000, {1, 0, 1, -1}, "moveRight 100"}},
        {{0, {1, 0, 1}, "moveRight 255; zoomIn 4", false, 300}, // more than a byte holds
         {1, {1, 0, 1}, "stopMove", false, 0},
         {kReassign, {}, "zoomStop"},
         {1000, {1, 0, 1}, "", false, 0}},
        // A short press acts when it ends, a long one once, while it is held or when it is seen to
        // have been one; what was held over a loss does nothing.
        {{0, {}, "", true}, {599, {}, "photo"}},
        {{0, {}, "", true}, {599, {}, "", true}, {1, {}, "record", true}, {900, {}, ""}},
        {{0, {}, "", true}, {2000, {}, "record"}},
        {{0, {}, "", true}, {kLoss, {}, ""}, {700, {}, "", true}, {10, {}, ""}},
    };
    // X yaw, Y pitch, Z zoom, R focus, U yaw inverted; each button's short and long press.
    JoystickAssignment usual;
    for (std::size_t i = 0; i < 4; ++i)
        usual.axes[i].function = static_cast<AxisFunction>(i + 1);
    usual.axes[4] = {AxisFunction::Yaw, true};
    usual.buttons.fill({ButtonAction::Photo, ButtonAction::Record});
    JoystickAssignment changed = usual;
    changed.axes[2].function = AxisFunction::Focus;
    for (const QList<Look> &looks : stories) {
        JoystickMapping mapping;
        mapping.setAssignment(usual);
        mapping.update({}, {}, 0);
        qint64 nowMs = 5000;
        for (const Look &look : looks) {
            JoystickEvents events;
            JoystickReadings readings{look.axes, {}};
            readings.buttons.back() = look.button;
            if (look.laterMs == kLoss)
                events.motions = mapping.release();
            else if (look.laterMs == kReassign)
                events.motions = mapping.setAssignment(changed);
            else
                events = mapping.update(readings, {look.moveSpeed, 4}, nowMs += look.laterMs);
            QCOMPARE(textOf(events.motions, events.actions), QString::fromLatin1(look.events));
        }
    }
}

void TestJoystick::actionsGoOnFromTheLast()
{
    ActionResolver resolver;
    QList<PodCommand> resolved;
    for (const auto &[action, times] : {std::pair(ButtonAction::PictureInPicture, 5),
                                        {ButtonAction::PseudoColour, 4},
                                        {ButtonAction::Osd, 2},
                                        {ButtonAction::LaserLight, 2},
                                        {ButtonAction::ModeChange, 4}}) {
        for (int i = 0; i < times; ++i)
            resolved.append(resolver.resolve(action, false).value());
    }
    QCOMPARE(textOf(resolved),
             u"setHZH; setHZH 1; setHZH 2; setHZH 3; setHZH; setWC; setWC 1; setWC 2; setWC; "
             "osdClose; osdOpen; laserLightOpen; laserLightClose; " // the pod starts with the OSD
             "modeYawFollow; modeYawLock; modeFPV; modeYawFollow"_s);
}

void TestJoystick::endOfAMotionSendsItsStopOnce_data()
{
    QTest::addColumn<End>("end");
    const auto row = [](const char *name, const End &end) { QTest::newRow(name) << end; };
    row("device pulled out and put in again", [](Flight &flight) {
        flight.stick.pullOut();
        QTRY_VERIFY_WITH_TIMEOUT(!flight.input->isConnected(), kWaitMs);
        flight.plugIn();
    });
    row("guard taken away", [](Flight &flight) { flight.input->setGuard(nullptr); });
    row("destroyed", [](Flight &flight) { flight.input.reset(); });
    row("backend taken away", [](Flight &flight) { flight.input->setBackend(nullptr); });
}

void TestJoystick::endOfAMotionSendsItsStopOnce()
{
    QFETCH(End, end);
    Flight flight;
    for (int axis = 0; axis < VirtualStick::kSpareAxis; ++axis)
        flight.stick.setAxis(axis, kDeflections.at(axis));
    for (const QString &motion : kMotions)
        QTRY_VERIFY_WITH_TIMEOUT(flight.pod.count(motion) > 1, kWaitMs); // it repeats
    end(flight);
    for (const QString &stop : kStops)
        QTRY_COMPARE_WITH_TIMEOUT(flight.pod.count(stop), 1, kWaitMs);
    // Nothing follows, though the stick may still be held and must be centred first.
    const qsizetype frames = flight.pod.frames().size();
    QTest::qWait(2 * JoystickMapping::kCommandIntervalMs);
    QCOMPARE(flight.pod.frames().size(), frames);
}

void TestJoystick::stopIsOwedUntilProved()
{
    using protocol::Command;
    motion::MotionLedger ledger;
    const auto owedAfter = [&](qint64 statusMs) {
        ledger.statusArrived(statusMs);
        return ledger.owedStops()[0] == Command::StopMove;
    };
    ledger.sending(Command::MoveUp);
    // For as long as it moves
    QVERIFY(owedAfter(0) && owedAfter(90000) && ledger.unsentStops()[0]);
    ledger.sending(Command::StopMove);
    // The first may have waited while nobody read.
    QVERIFY(owedAfter(99000) && owedAfter(100999) && !ledger.unsentStops()[0]);
    ledger.turnTo({}); // what was heard before proves nothing of the next link
    QVERIFY(owedAfter(101000) && owedAfter(102999) && !owedAfter(103000));
}

void TestJoystick::everyActionReachesThePod()
{
    const QStringList expected = {
        u"13 05 00 00"_s, u"13 06 00 00"_s, u"12 00 00 00"_s, u"12 02 00 00"_s, u"11 00 80 80"_s,
        u"14 00 00 00"_s, u"15 00 00 00"_s, u"19 01 00 00"_s, u"1b 00 00 00"_s, u"11 01 00 00"_s};
    Flight flight;
    for (int i = 0; i < kButtonCount; ++i) {
        flight.input->setButtonAction(i, true, i);
        flight.input->setButtonAction(i, false, int(ButtonAction::Photo));
    }
    // Recording, in lock mode: it goes on from there.
    flight.pod.reply(sealed(QByteArray::fromHex("ee01" + QByteArray(46, '0') + "010001")));
    QTRY_VERIFY_WITH_TIMEOUT(flight.backend.recording(), kWaitMs);
    flight.stick.awaitLook(flight.input.get());
    // A long press on each button, so that a slow machine cannot turn it into the other kind.
    for (int i = 0; i < kButtonCount; ++i)
        flight.stick.setButton(i, true);
    for (const QString &command : expected)
        QTRY_COMPARE_WITH_TIMEOUT(flight.pod.count(command), 1, kWaitMs);
    for (int i = 0; i < kButtonCount; ++i)
        flight.stick.setButton(i, false);
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

QTEST_MAIN(TestJoystick)
#include "tst_joystick.moc"
