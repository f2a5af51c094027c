#include "input/ActionResolver.h"
#include "input/JoystickMapping.h"

#include <QSettings>
#include <QTemporaryDir>
#include <QtTest>

#include <array>

using namespace input;

namespace {

constexpr double kFull = 1.0;

/// X yaw, Y pitch, Z zoom, R focus; every button photo for a short press, record for a long one.
JoystickAssignment usualAssignment()
{
    JoystickAssignment assignment;
    const std::array functions = {AxisFunction::Yaw, AxisFunction::Pitch, AxisFunction::Zoom,
                                  AxisFunction::Focus};
    for (std::size_t i = 0; i < functions.size(); ++i)
        assignment.axes[i].function = functions[i];
    assignment.buttons.fill({ButtonAction::Photo, ButtonAction::Record});
    return assignment;
}

/// A command as text, "moveRight 128 0", so that a failed comparison says what was sent.
QString textOf(const PodCommand &command)
{
    const auto name = protocol::commandSpec(command.command).name;
    return QStringLiteral("%1 %2 %3")
        .arg(QLatin1String(name.data(), static_cast<qsizetype>(name.size())))
        .arg(command.argument0)
        .arg(command.argument1);
}

QString textOf(const QList<PodCommand> &commands)
{
    QStringList texts;
    for (const PodCommand &command : commands)
        texts.append(textOf(command));
    return texts.join(QStringLiteral("; "));
}

/// A mapping with a clock of its own, whose device has been seen at rest.
struct Rig
{
    JoystickMapping mapping;
    JoystickReadings readings;
    SpeedLimits limits{100, 4};
    qint64 nowMs = 5000;

    Rig()
    {
        mapping.setAssignment(usualAssignment());
        look();
    }

    JoystickEvents look(qint64 laterMs = 0)
    {
        nowMs += laterMs;
        return mapping.update(readings, limits, nowMs);
    }

    QString move(double x, double y, qint64 laterMs)
    {
        readings.axes[0] = x;
        readings.axes[1] = y;
        return textOf(look(laterMs).motions);
    }
};

} // namespace

class TestJoystickMapping : public QObject
{
    Q_OBJECT

private slots:
    void deflectionBecomesCommandAndStop_data();
    void deflectionBecomesCommandAndStop();
    void moveSpeedZeroStopsAndMovesNothing();
    void repeatsAreHeldBackAndStopsAreNot();
    void axisComingToRestIsStoppedAtOnce();
    void reversalWithinTheIntervalStopsFirst();
    void trembleAtTheEdgeOfTheDeadZoneStartsNothing();
    void heldAxisMovesNothingUntilCentred();
    void releaseStopsEachMotionOnce();
    void reassignmentStopsOnlyWhatTheAxisMoved();
    void pressLengthPicksTheAction_data();
    void pressLengthPicksTheAction();
    void heldButtonDoesNothingUntilReleased();
    void actionsBecomeCommands();
    void modeChangeGoesOnFromThePodsMode();
    void assignmentSurvivesTheFile();
    void badValuesInTheFileAreDefaults();
};

void TestJoystickMapping::deflectionBecomesCommandAndStop_data()
{
    QTest::addColumn<QList<double>>("axes");
    QTest::addColumn<QList<int>>("inverted");
    QTest::addColumn<QString>("command");
    QTest::addColumn<QString>("stop");

    const auto row = [](const char *name, const QList<double> &axes, const char *command,
                        const char *stop, const QList<int> &inverted = {}) {
        QTest::newRow(name) << axes << inverted << QString::fromLatin1(command)
                            << QString::fromLatin1(stop);
    };
    row("right", {1, 0, 0, 0}, "moveRight 100 0", "stopMove 0 0");
    row("left", {-1, 0, 0, 0}, "moveLeft 100 0", "stopMove 0 0");
    row("up", {0, -1, 0, 0}, "moveUp 100 0", "stopMove 0 0");
    row("down", {0, 1, 0, 0}, "moveDown 100 0", "stopMove 0 0");
    row("half way", {0.55, 0, 0, 0}, "moveRight 50 0", "stopMove 0 0");
    row("barely", {0.119, 0, 0, 0}, "moveRight 2 0", "stopMove 0 0");
    row("right up", {1, -0.55, 0, 0}, "moveRightUp 100 50", "stopMove 0 0");
    row("left up", {-0.55, -1, 0, 0}, "moveLeftUp 50 100", "stopMove 0 0");
    row("right down", {0.55, 1, 0, 0}, "moveRightDown 50 100", "stopMove 0 0");
    row("left down", {-1, 1, 0, 0}, "moveLeftDown 100 100", "stopMove 0 0");
    row("zoom in", {0, 0, 1, 0}, "zoomIn 4 0", "zoomStop 0 0");
    row("zoom out slowly", {0, 0, -0.15, 0}, "zoomOut 1 0", "zoomStop 0 0");
    row("focus far", {0, 0, 0, 1}, "manualFocusFar 0 0", "manualFocusStop 0 0");
    row("focus near", {0, 0, 0, -1}, "manualFocusNear 0 0", "manualFocusStop 0 0");
    row("inverted yaw", {1, 0, 0, 0}, "moveLeft 100 0", "stopMove 0 0", {0});
    row("inverted pitch on a diagonal", {1, 1, 0, 0}, "moveRightUp 100 100", "stopMove 0 0", {1});
    row("all at once", {1, 0, 1, -1}, "moveRight 100 0; zoomIn 4 0; manualFocusNear 0 0",
        "stopMove 0 0; zoomStop 0 0; manualFocusStop 0 0");
    row("in the dead zone", {0.1, -0.1, 0.05, -0.05}, "", "");
}

void TestJoystickMapping::deflectionBecomesCommandAndStop()
{
    QFETCH(QList<double>, axes);
    QFETCH(QList<int>, inverted);
    QFETCH(QString, command);
    QFETCH(QString, stop);

    Rig rig;
    JoystickAssignment assignment = usualAssignment();
    for (int axis : inverted)
        assignment.axes[static_cast<std::size_t>(axis)].inverted = true;
    rig.mapping.setAssignment(assignment);
    rig.look();

    std::ranges::copy(axes, rig.readings.axes.begin());
    QCOMPARE(textOf(rig.look().motions), command);
    rig.readings = {};
    QCOMPARE(textOf(rig.look().motions), stop);
    QCOMPARE(textOf(rig.look(1000).motions), QString());
}

void TestJoystickMapping::moveSpeedZeroStopsAndMovesNothing()
{
    Rig rig;
    QCOMPARE(rig.move(kFull, 0, 0), QStringLiteral("moveRight 100 0"));
    rig.limits.move = 0;
    QCOMPARE(rig.move(kFull, 0, 1), QStringLiteral("stopMove 0 0"));
    QCOMPARE(rig.move(kFull, 0, 1000), QString());
    rig.limits.move = 300; // more than a byte holds
    QCOMPARE(rig.move(kFull, 0, 1), QStringLiteral("moveRight 255 0"));
}

void TestJoystickMapping::repeatsAreHeldBackAndStopsAreNot()
{
    Rig rig;
    QCOMPARE(rig.move(kFull, 0, 0), QStringLiteral("moveRight 100 0"));
    QCOMPARE(rig.move(0.55, 0, 99), QString());
    QCOMPARE(rig.move(0.55, 0, 1), QStringLiteral("moveRight 50 0"));
    QCOMPARE(rig.move(0, 0, 1), QStringLiteral("stopMove 0 0"));
    // Starting again counts from the last start, not from the stop.
    QCOMPARE(rig.move(kFull, 0, 1), QString());
    QCOMPARE(rig.move(0, 0, 1), QString()); // nothing moves, so nothing is stopped
    QCOMPARE(rig.move(kFull, 0, 97), QStringLiteral("moveRight 100 0"));
    // Each motion has an interval of its own.
    rig.readings.axes[2] = kFull;
    QCOMPARE(textOf(rig.look(1).motions), QStringLiteral("zoomIn 4 0"));
}

void TestJoystickMapping::axisComingToRestIsStoppedAtOnce()
{
    Rig rig;
    QCOMPARE(rig.move(kFull, kFull, 0), QStringLiteral("moveRightDown 100 100"));
    QCOMPARE(rig.move(0, kFull, 1), QStringLiteral("moveDown 100 0"));
    QCOMPARE(rig.move(kFull, kFull, 1), QString()); // taking it up again has to wait
    QCOMPARE(rig.move(kFull, 0, 1), QStringLiteral("stopMove 0 0"));
    QCOMPARE(rig.move(kFull, 0, 98), QStringLiteral("moveRight 100 0"));
}

void TestJoystickMapping::reversalWithinTheIntervalStopsFirst()
{
    Rig rig;
    QCOMPARE(rig.move(kFull, 0, 0), QStringLiteral("moveRight 100 0"));
    QCOMPARE(rig.move(-kFull, 0, 10), QStringLiteral("stopMove 0 0"));
    QCOMPARE(rig.move(-kFull, 0, 10), QString());
    QCOMPARE(rig.move(-kFull, 0, 80), QStringLiteral("moveLeft 100 0"));
    QCOMPARE(rig.move(kFull, 0, 100), QStringLiteral("moveRight 100 0"));
}

void TestJoystickMapping::trembleAtTheEdgeOfTheDeadZoneStartsNothing()
{
    Rig rig;
    for (const double x : {0.101, 0.099, 0.11, 0.1})
        QCOMPARE(rig.move(x, 0, 200), QString());
    QCOMPARE(rig.move(0.2, 0, 200), QStringLiteral("moveRight 11 0"));
    QCOMPARE(rig.move(0.105, 0, 200), QStringLiteral("moveRight 1 0")); // still off centre
    QCOMPARE(rig.move(0.1, 0, 200), QStringLiteral("stopMove 0 0"));
}

void TestJoystickMapping::heldAxisMovesNothingUntilCentred()
{
    JoystickMapping mapping;
    mapping.setAssignment(usualAssignment());
    JoystickReadings readings;
    readings.axes = {kFull, 0, -kFull, 0, 0}; // a trigger rests at its end
    QVERIFY(mapping.update(readings, {}, 0).motions.isEmpty());
    QVERIFY(mapping.update(readings, {}, 1000).motions.isEmpty());
    readings.axes[0] = 0;
    QVERIFY(mapping.update(readings, {}, 2000).motions.isEmpty());
    readings.axes[0] = kFull;
    QCOMPARE(textOf(mapping.update(readings, {}, 3000).motions), QStringLiteral("moveRight 128 0"));
}

void TestJoystickMapping::releaseStopsEachMotionOnce()
{
    Rig rig;
    rig.readings.axes = {kFull, 0, kFull, kFull, 0};
    rig.look();
    QCOMPARE(textOf(rig.mapping.release()),
             QStringLiteral("stopMove 0 0; zoomStop 0 0; manualFocusStop 0 0"));
    QVERIFY(rig.mapping.release().isEmpty());
    QVERIFY(rig.look(1000).motions.isEmpty()); // still held
    QVERIFY(rig.mapping.release().isEmpty());
}

void TestJoystickMapping::reassignmentStopsOnlyWhatTheAxisMoved()
{
    Rig rig;
    rig.readings.axes = {kFull, 0, kFull, 0, 0};
    rig.look();

    JoystickAssignment changed = usualAssignment();
    changed.axes[1].function = AxisFunction::Focus; // idle
    QVERIFY(rig.mapping.setAssignment(changed).isEmpty());
    changed.axes[0].function = AxisFunction::Zoom; // moves the pod
    QCOMPARE(textOf(rig.mapping.setAssignment(changed)), QStringLiteral("stopMove 0 0"));
    changed.axes[2].inverted = true;
    QCOMPARE(textOf(rig.mapping.setAssignment(changed)), QStringLiteral("zoomStop 0 0"));
    QVERIFY(rig.look(1000).motions.isEmpty()); // both still held

    rig.readings.axes = {};
    rig.look();
    rig.readings.axes = {0.55, 0, kFull, 0, 0}; // two axes zoom: the one further out counts
    QCOMPARE(textOf(rig.look(100).motions), QStringLiteral("zoomOut 4 0"));
}

void TestJoystickMapping::pressLengthPicksTheAction_data()
{
    QTest::addColumn<QList<qint64>>("looksMs"); // pressed at 0; the last look finds it released
    QTest::addColumn<QList<ButtonAction>>("actions");

    using Looks = QList<qint64>;
    using Actions = QList<ButtonAction>;
    QTest::newRow("tap") << Looks{15} << Actions{ButtonAction::Photo};
    QTest::newRow("just short") << Looks{300, 599} << Actions{ButtonAction::Photo};
    QTest::newRow("long, acts while held") << Looks{599, 600, 900} << Actions{ButtonAction::Record};
    QTest::newRow("very long, acts once")
        << Looks{600, 1200, 1800, 2400} << Actions{ButtonAction::Record};
    QTest::newRow("long, looked at too late") << Looks{2000} << Actions{ButtonAction::Record};
}

void TestJoystickMapping::pressLengthPicksTheAction()
{
    QFETCH(QList<qint64>, looksMs);
    QFETCH(QList<ButtonAction>, actions);

    Rig rig;
    const qint64 startMs = rig.nowMs;
    rig.readings.buttons[9] = true;
    QList<ButtonAction> seen = rig.look().actions;
    for (const qint64 lookMs : looksMs) {
        rig.readings.buttons[9] = lookMs != looksMs.last();
        seen += rig.look(startMs + lookMs - rig.nowMs).actions;
    }
    QCOMPARE(seen, actions);
    rig.readings.buttons[9] = true; // and it can be pressed again
    rig.look(10);
    rig.readings.buttons[9] = false;
    QCOMPARE(rig.look(10).actions, QList{ButtonAction::Photo});
}

void TestJoystickMapping::heldButtonDoesNothingUntilReleased()
{
    Rig rig;
    rig.readings.buttons[0] = true;
    rig.look();
    rig.mapping.release(); // the device is lost or the link closed
    QVERIFY(rig.look(700).actions.isEmpty());
    rig.readings.buttons[0] = false;
    QVERIFY(rig.look(10).actions.isEmpty());
}

void TestJoystickMapping::actionsBecomeCommands()
{
    struct Case
    {
        ButtonAction action;
        bool recording;
        const char *command;
    };

    // In this order, on one resolver: the toggles and cycles go on from the row before.
    constexpr auto kCases = std::to_array<Case>({
        {ButtonAction::PitchDown, false, "pitchDownOnly 0 0"},
        {ButtonAction::Photo, false, "takePhoto 0 0"},
        {ButtonAction::Record, false, "startRecord 0 0"},
        {ButtonAction::Record, true, "stopRecord 0 0"},
        {ButtonAction::StartTrack, false, "pointtrack 128 128"},
        {ButtonAction::StopTrack, false, "pointtrackstop 0 0"},
        {ButtonAction::PictureInPicture, false, "setHZH 0 0"},
        {ButtonAction::PictureInPicture, false, "setHZH 1 0"},
        {ButtonAction::PictureInPicture, false, "setHZH 2 0"},
        {ButtonAction::PictureInPicture, false, "setHZH 3 0"},
        {ButtonAction::PictureInPicture, false, "setHZH 0 0"},
        {ButtonAction::PseudoColour, false, "setWC 0 0"},
        {ButtonAction::PseudoColour, false, "setWC 1 0"},
        {ButtonAction::PseudoColour, false, "setWC 2 0"},
        {ButtonAction::PseudoColour, false, "setWC 0 0"},
        {ButtonAction::Osd, false, "osdClose 0 0"}, // the pod starts with it shown
        {ButtonAction::Osd, false, "osdOpen 0 0"},
        {ButtonAction::LaserLight, false, "laserLightOpen 0 0"},
        {ButtonAction::LaserLight, false, "laserLightClose 0 0"},
    });
    ActionResolver resolver;
    for (const Case &entry : kCases) {
        const auto command = resolver.resolve(entry.action, entry.recording);
        QVERIFY(command);
        QCOMPARE(textOf(*command), QString::fromLatin1(entry.command));
    }
    QVERIFY(!resolver.resolve(ButtonAction::None, false));
}

void TestJoystickMapping::modeChangeGoesOnFromThePodsMode()
{
    ActionResolver resolver;
    const auto next = [&resolver] {
        return textOf(*resolver.resolve(ButtonAction::ModeChange, false));
    };
    resolver.setWorkMode(QStringLiteral("Unknown"));
    QCOMPARE(next(), QStringLiteral("modeYawFollow 0 0"));
    QCOMPARE(next(), QStringLiteral("modeYawLock 0 0"));
    QCOMPARE(next(), QStringLiteral("modeFPV 0 0"));
    resolver.setWorkMode(QStringLiteral("Unknown")); // what the pod reports in that mode
    QCOMPARE(next(), QStringLiteral("modeYawFollow 0 0"));
    resolver.setWorkMode(QStringLiteral("Lock")); // switched in the window
    QCOMPARE(next(), QStringLiteral("modeFPV 0 0"));
}

void TestJoystickMapping::assignmentSurvivesTheFile()
{
    QTemporaryDir folder;
    const QString path = folder.filePath(QStringLiteral("device_config.ini"));
    JoystickAssignment assignment = usualAssignment();
    assignment.axes[4] = {AxisFunction::Yaw, true};
    assignment.buttons[0] = {ButtonAction::None, ButtonAction::PitchDown};
    assignment.buttons[9] = {ButtonAction::StopTrack, ButtonAction::None};
    {
        QSettings settings(path, QSettings::IniFormat);
        settings.setValue(QStringLiteral("TCP/devicePort"), 2000);
        QVERIFY(saveAssignment(settings, assignment));
    }
    QSettings settings(path, QSettings::IniFormat);
    QCOMPARE(settings.value(QStringLiteral("Joystick/axisUFunction")).toString(),
             QStringLiteral("yaw"));
    QCOMPARE(settings.value(QStringLiteral("TCP/devicePort")).toInt(), 2000);
    QVERIFY(loadAssignment(settings) == assignment);
}

void TestJoystickMapping::badValuesInTheFileAreDefaults()
{
    QTemporaryDir folder;
    QFile file(folder.filePath(QStringLiteral("device_config.ini")));
    QVERIFY(file.open(QIODevice::WriteOnly));
    file.write("[Joystick]\naxisXFunction=roll\naxisXInverted=banana\naxisYFunction=pitch\n"
               "axisYInverted=true\nbutton1Short=7\nbutton2Long=pip\nbutton11Short=photo\n");
    file.close();

    JoystickAssignment expected;
    expected.axes[1] = {AxisFunction::Pitch, true};
    expected.buttons[1].longPress = ButtonAction::PictureInPicture;
    QSettings settings(file.fileName(), QSettings::IniFormat);
    QVERIFY(loadAssignment(settings) == expected);
}

QTEST_GUILESS_MAIN(TestJoystickMapping)
#include "tst_joystick_mapping.moc"
