#include "input/ActionResolver.h"
#include "input/JoystickMapping.h"

#include <QSettings>
#include <QTemporaryDir>
#include <QtTest>

#include <array>

using namespace input;

namespace {

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

/// Commands as text, "moveRight 128; stopMove", arguments of zero left out.
QString textOf(const QList<PodCommand> &commands)
{
    QStringList texts;
    for (const PodCommand &command : commands) {
        const auto name = protocol::commandSpec(command.command).name;
        texts.append(QString::fromLatin1(name.data(), qsizetype(name.size())));
        for (const int argument : {command.argument0, command.argument1})
            texts.last() += argument ? QStringLiteral(" %1").arg(argument) : QString();
    }
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
};

using Axes = std::array<double, kAxisCount>;

struct Look
{
    qint64 laterMs;
    Axes axes;
    const char *motions;
};

using Looks = QList<Look>;

} // namespace

class TestJoystickMapping : public QObject
{
    Q_OBJECT

private slots:
    void deflectionBecomesCommandAndStop_data();
    void deflectionBecomesCommandAndStop();
    void timeRulesCommandsNotStops_data();
    void timeRulesCommandsNotStops();
    void moveSpeedLimitsTheMotion();
    void heldAxisMovesNothingUntilCentred();
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
    QTest::addColumn<Axes>("axes");
    QTest::addColumn<int>("inverted"); // the axis, or -1
    QTest::addColumn<QString>("command");
    QTest::addColumn<QString>("stop");
    const auto row = [](const char *name, const Axes &axes, const char *command,
                        const char *stop = "stopMove", int inverted = -1) {
        QTest::newRow(name) << axes << inverted << QString::fromLatin1(command)
                            << QString::fromLatin1(stop);
    };
    row("right", {1}, "moveRight 100");
    row("left", {-1}, "moveLeft 100");
    row("up", {0, -1}, "moveUp 100");
    row("down", {0, 1}, "moveDown 100");
    row("half way", {0.55}, "moveRight 50");
    row("barely", {0.119}, "moveRight 2");
    row("right up", {1, -0.55}, "moveRightUp 100 50");
    row("left up", {-0.55, -1}, "moveLeftUp 50 100");
    row("right down", {0.55, 1}, "moveRightDown 50 100");
    row("left down", {-1, 1}, "moveLeftDown 100 100");
    row("zoom in", {0, 0, 1}, "zoomIn 4", "zoomStop");
    row("zoom out slowly", {0, 0, -0.15}, "zoomOut 1", "zoomStop");
    row("focus far", {0, 0, 0, 1}, "manualFocusFar", "manualFocusStop");
    row("focus near", {0, 0, 0, -1}, "manualFocusNear", "manualFocusStop");
    row("inverted yaw", {1}, "moveLeft 100", "stopMove", 0);
    row("inverted pitch on a diagonal", {1, 1}, "moveRightUp 100 100", "stopMove", 1);
    row("all at once", {1, 0, 1, -1}, "moveRight 100; zoomIn 4; manualFocusNear",
        "stopMove; zoomStop; manualFocusStop");
    row("in the dead zone", {0.1, -0.1, 0.05, -0.05}, "", "");
}

void TestJoystickMapping::deflectionBecomesCommandAndStop()
{
    QFETCH(Axes, axes);
    QFETCH(int, inverted);
    QFETCH(QString, command);
    QFETCH(QString, stop);
    for (const bool released : {false, true}) {
        Rig rig;
        JoystickAssignment assignment = usualAssignment();
        if (inverted >= 0)
            assignment.axes[std::size_t(inverted)].inverted = true;
        rig.mapping.setAssignment(assignment);
        rig.look();
        rig.readings.axes = axes;
        QCOMPARE(textOf(rig.look().motions), command);
        if (released) { // by the loss of device or link
            QCOMPARE(textOf(rig.mapping.release()), stop);
            QCOMPARE(textOf(rig.look(1000).motions), QString()); // still held
            QCOMPARE(textOf(rig.mapping.release()), QString());
            continue;
        }
        rig.readings = {};
        QCOMPARE(textOf(rig.look().motions), stop);
        QCOMPARE(textOf(rig.look(1000).motions), QString());
    }
}

void TestJoystickMapping::timeRulesCommandsNotStops_data()
{
    QTest::addColumn<Looks>("looks");
    QTest::newRow("repeats are held back, stops are not")
        << Looks{{0, {1}, "moveRight 100"},
                 {99, {0.55}, ""},
                 {1, {0.55}, "moveRight 50"},
                 {1, {}, "stopMove"},
                 {1, {1}, ""}, // counts from the last start, not from the stop
                 {1, {}, ""},  // nothing moves, so nothing is stopped
                 {97, {1}, "moveRight 100"},
                 {1, {1, 0, 1}, "zoomIn 4"}}; // each motion has an interval of its own
    QTest::newRow("an axis coming to rest is stopped at once")
        << Looks{{0, {1, 1}, "moveRightDown 100 100"},
                 {1, {0, 1}, "moveDown 100"},
                 {1, {1, 1}, ""}, // taking it up again has to wait
                 {1, {1}, "stopMove"},
                 {98, {1}, "moveRight 100"}};
    QTest::newRow("a reversal within the interval stops first")
        << Looks{{0, {1}, "moveRight 100"},
                 {10, {-1}, "stopMove"},
                 {10, {-1}, ""},
                 {80, {-1}, "moveLeft 100"},
                 {100, {1}, "moveRight 100"}};
    QTest::newRow("a tremble at the edge of the dead zone starts nothing")
        << Looks{{200, {0.101}, ""},
                 {200, {0.099}, ""},
                 {200, {0.11}, ""},
                 {200, {0.2}, "moveRight 11"},
                 {200, {0.105}, "moveRight 1"}, // still off centre
                 {200, {0.1}, "stopMove"}};
}

void TestJoystickMapping::timeRulesCommandsNotStops()
{
    QFETCH(Looks, looks);
    Rig rig;
    for (const auto &[laterMs, axes, motions] : std::as_const(looks)) {
        rig.readings.axes = axes;
        QCOMPARE(textOf(rig.look(laterMs).motions), QString::fromLatin1(motions));
    }
}

void TestJoystickMapping::moveSpeedLimitsTheMotion()
{
    Rig rig;
    rig.readings.axes = {1};
    QCOMPARE(textOf(rig.look().motions), QStringLiteral("moveRight 100"));
    rig.limits.move = 0;
    QCOMPARE(textOf(rig.look(1).motions), QStringLiteral("stopMove"));
    QCOMPARE(textOf(rig.look(1000).motions), QString());
    rig.limits.move = 300; // more than a byte holds
    QCOMPARE(textOf(rig.look(1).motions), QStringLiteral("moveRight 255"));
}

void TestJoystickMapping::heldAxisMovesNothingUntilCentred()
{
    JoystickMapping mapping;
    mapping.setAssignment(usualAssignment());
    JoystickReadings readings;
    qint64 nowMs = 0;
    for (const double x : {1, 1, 0, 1}) {
        readings.axes = {x, 0, -1}; // a trigger rests at its end
        nowMs += 1000;
        QCOMPARE(textOf(mapping.update(readings, {}, nowMs).motions),
                 nowMs < 4000 ? QString() : QStringLiteral("moveRight 128"));
    }
}

void TestJoystickMapping::reassignmentStopsOnlyWhatTheAxisMoved()
{
    Rig rig;
    rig.readings.axes = {1, 0, 1};
    rig.look();
    JoystickAssignment changed = usualAssignment();
    changed.axes[1].function = AxisFunction::Focus; // idle
    QVERIFY(rig.mapping.setAssignment(changed).isEmpty());
    changed.axes[0].function = AxisFunction::Zoom; // moves the pod
    QCOMPARE(textOf(rig.mapping.setAssignment(changed)), QStringLiteral("stopMove"));
    changed.axes[2].inverted = true;
    QCOMPARE(textOf(rig.mapping.setAssignment(changed)), QStringLiteral("zoomStop"));
    QVERIFY(rig.look(1000).motions.isEmpty()); // both still held
    rig.readings.axes = {};
    rig.look();
    rig.readings.axes = {0.55, 0, 1}; // two axes zoom: the one further out counts
    QCOMPARE(textOf(rig.look(100).motions), QStringLiteral("zoomOut 4"));
}

void TestJoystickMapping::pressLengthPicksTheAction_data()
{
    QTest::addColumn<QList<qint64>>("looksMs"); // pressed at 0; the last look finds it released
    QTest::addColumn<QList<ButtonAction>>("actions");
    using Times = QList<qint64>;
    using Actions = QList<ButtonAction>;
    QTest::newRow("tap") << Times{15} << Actions{ButtonAction::Photo};
    QTest::newRow("just short") << Times{300, 599} << Actions{ButtonAction::Photo};
    QTest::newRow("long, acts while held") << Times{599, 600, 900} << Actions{ButtonAction::Record};
    QTest::newRow("very long, acts once")
        << Times{600, 1200, 1800, 2400} << Actions{ButtonAction::Record};
    QTest::newRow("long, looked at too late") << Times{2000} << Actions{ButtonAction::Record};
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
    // In this order, on one resolver: the toggles and cycles go on from the entry before.
    const std::pair<ButtonAction, const char *> cases[] = {
        {ButtonAction::PitchDown, "pitchDownOnly"},
        {ButtonAction::Photo, "takePhoto"},
        {ButtonAction::Record, "startRecord"},
        {ButtonAction::StartTrack, "pointtrack 128 128"},
        {ButtonAction::StopTrack, "pointtrackstop"},
        {ButtonAction::PictureInPicture, "setHZH"},
        {ButtonAction::PictureInPicture, "setHZH 1"},
        {ButtonAction::PictureInPicture, "setHZH 2"},
        {ButtonAction::PictureInPicture, "setHZH 3"},
        {ButtonAction::PictureInPicture, "setHZH"},
        {ButtonAction::PseudoColour, "setWC"},
        {ButtonAction::PseudoColour, "setWC 1"},
        {ButtonAction::PseudoColour, "setWC 2"},
        {ButtonAction::PseudoColour, "setWC"},
        {ButtonAction::Osd, "osdClose"}, // the pod starts with it shown
        {ButtonAction::Osd, "osdOpen"},
        {ButtonAction::LaserLight, "laserLightOpen"},
        {ButtonAction::LaserLight, "laserLightClose"},
    };
    ActionResolver resolver;
    for (const auto &[action, command] : cases) {
        const auto resolved = resolver.resolve(action, false);
        QVERIFY(resolved);
        QCOMPARE(textOf({*resolved}), QString::fromLatin1(command));
    }
    QCOMPARE(textOf({*resolver.resolve(ButtonAction::Record, true)}), QStringLiteral("stopRecord"));
    QVERIFY(!resolver.resolve(ButtonAction::None, false));
}

void TestJoystickMapping::modeChangeGoesOnFromThePodsMode()
{
    const std::pair<const char *, const char *> cases[] = {
        {"Unknown", "modeYawFollow"}, {nullptr, "modeYawLock"}, {nullptr, "modeFPV"},
        {"Unknown", "modeYawFollow"}, // what the pod reports in that mode
        {"Lock", "modeFPV"},          // switched in the window
    };
    ActionResolver resolver;
    for (const auto &[reported, command] : cases) {
        if (reported)
            resolver.setWorkMode(QString::fromLatin1(reported));
        QCOMPARE(textOf({*resolver.resolve(ButtonAction::ModeChange, false)}),
                 QString::fromLatin1(command));
    }
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
