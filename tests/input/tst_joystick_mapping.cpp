#include "input/ActionResolver.h"
#include "input/JoystickMapping.h"

#include <QtTest>

using namespace input;
using namespace Qt::StringLiterals;

namespace {

/// X yaw, Y pitch, Z zoom, R focus, U yaw inverted; photo for a short press, record for a long one.
JoystickAssignment usualAssignment()
{
    JoystickAssignment assignment;
    for (std::size_t i = 0; i < 4; ++i)
        assignment.axes[i].function = static_cast<AxisFunction>(i + 1);
    assignment.axes[4] = {AxisFunction::Yaw, true};
    assignment.buttons.fill({ButtonAction::Photo, ButtonAction::Record});
    return assignment;
}

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

constexpr qint64 kRelease = -1;

/// The device is looked at so much later; kRelease instead: device or link are lost.
struct Look
{
    qint64 laterMs;
    std::array<double, kAxisCount> axes;
    const char *events;
    bool button = false;
};

using Looks = QList<Look>;

/// A mapping with a clock of its own, whose device has been seen at rest.
struct Rig
{
    JoystickMapping mapping;
    SpeedLimits limits{100, 4};
    qint64 nowMs = 5000;

    Rig()
    {
        mapping.setAssignment(usualAssignment());
        mapping.update({}, limits, nowMs);
    }

    QString see(const Look &look)
    {
        if (look.laterMs == kRelease)
            return textOf(mapping.release());
        JoystickReadings readings{look.axes, {}};
        readings.buttons.back() = look.button;
        const auto events = mapping.update(readings, limits, nowMs += look.laterMs);
        return textOf(events.motions, events.actions);
    }
};

} // namespace

class TestJoystickMapping : public QObject
{
    Q_OBJECT

private slots:
    void looksBecomeCommands_data();
    void looksBecomeCommands();
    void settingsStopWhatTheyForbid();
    void actionsGoOnFromTheLast();
};

void TestJoystickMapping::looksBecomeCommands_data()
{
    QTest::addColumn<Looks>("looks");
    const auto row = [](const char *name, const Looks &looks) { QTest::newRow(name) << looks; };
    row("every direction", {{0, {1}, "moveRight 100"},
                            {1, {}, "stopMove"},
                            {100, {-1}, "moveLeft 100"},
                            {100, {0, -1}, "moveUp 100"},
                            {100, {0, 1}, "moveDown 100"},
                            {100, {1, -0.55}, "moveRightUp 100 50"},
                            {100, {-0.55, -1}, "moveLeftUp 50 100"},
                            {100, {0.55, 1}, "moveRightDown 50 100"},
                            {100, {-1, 1}, "moveLeftDown 100 100"}});
    row("zoom and focus", {{0, {0, 0, 1, 1}, "zoomIn 4; manualFocusFar"},
                           {1, {0, 0, 0, 1}, "zoomStop"},
                           {100, {0, 0, -0.15, -1}, "zoomOut 1; manualFocusNear"},
                           {1, {}, "zoomStop; manualFocusStop"}});
    row("of two axes for one motion the furthest out counts",
        {{0, {0.55, 0, 0, 0, 1}, "moveLeft 100"}, // inverted
         {100, {1, 1, 0, 0, 0.55}, "moveRightDown 100 100"}});
    row("repeats are held back, stops are not",
        {{0, {1}, "moveRight 100"},
         {99, {0.55}, ""},
         {1, {0.55}, "moveRight 50"},
         {1, {}, "stopMove"},
         {1, {1}, ""}, // counts from the last start, not from the stop
         {1, {}, ""},  // nothing moves, so nothing is stopped
         {97, {1}, "moveRight 100"},
         {1, {1, 0, 1}, "zoomIn 4"}}); // each motion has an interval of its own
    row("an axis coming to rest is stopped at once",
        {{0, {1, 1}, "moveRightDown 100 100"},
         {1, {0, 1}, "moveDown 100"},
         {1, {1, 1}, ""}, // taking it up again has to wait
         {1, {1}, "stopMove"}});
    row("a reversal within the interval stops first",
        {{0, {1}, "moveRight 100"}, {10, {-1}, "stopMove"}, {90, {-1}, "moveLeft 100"}});
    row("a tremble at the edge of the dead zone starts nothing",
        {{200, {0.1, 0.101, -0.1}, ""},
         {200, {0.2}, "moveRight 11"},
         {200, {0.105}, "moveRight 1"}, // still off centre
         {200, {0.1}, "stopMove"}});
    row("what is held over a loss counts again once centred",
        {{0, {1, 0, 1, -1}, "moveRight 100; zoomIn 4; manualFocusNear"},
         {kRelease, {}, "stopMove; zoomStop; manualFocusStop"},
         {1000, {1, 0, 1, -1}, ""},
         {1000, {0, 0, 1, -1}, ""},
         {1000, {1, 0, 1, -1}, "moveRight 100"}});
    row("a short press acts when it ends", {{0, {}, "", true}, {599, {}, "photo"}});
    row("a long press acts once, while it is held",
        {{0, {}, "", true}, {599, {}, "", true}, {1, {}, "record", true}, {900, {}, ""}});
    row("a long press seen to end too late is long", {{0, {}, "", true}, {2000, {}, "record"}});
    row("a button held over a loss does nothing",
        {{0, {}, "", true}, {kRelease, {}, ""}, {700, {}, "", true}, {10, {}, ""}});
}

void TestJoystickMapping::looksBecomeCommands()
{
    QFETCH(Looks, looks);
    Rig rig;
    for (const Look &look : std::as_const(looks))
        QCOMPARE(rig.see(look), QString::fromLatin1(look.events));
}

void TestJoystickMapping::settingsStopWhatTheyForbid()
{
    Rig rig;
    rig.limits.move = 300; // more than a byte holds
    QCOMPARE(rig.see({0, {1, 0, 1}, ""}), u"moveRight 255; zoomIn 4"_s);
    rig.limits.move = 0;
    QCOMPARE(rig.see({1, {1, 0, 1}, ""}), u"stopMove"_s);
    JoystickAssignment changed = usualAssignment();
    changed.axes[2].function = AxisFunction::Focus;
    QCOMPARE(textOf(rig.mapping.setAssignment(changed)), u"zoomStop"_s);
    QCOMPARE(rig.see({1000, {1, 0, 1}, ""}), QString()); // still held
}

void TestJoystickMapping::actionsGoOnFromTheLast()
{
    const QList<std::pair<ButtonAction, QString>> cases = {
        {ButtonAction::PictureInPicture, u"setHZH; setHZH 1; setHZH 2; setHZH 3; setHZH"_s},
        {ButtonAction::PseudoColour, u"setWC; setWC 1; setWC 2; setWC"_s},
        {ButtonAction::Record, u"startRecord"_s},
        {ButtonAction::Osd, u"osdClose; osdOpen"_s}, // the pod starts with it shown
        {ButtonAction::LaserLight, u"laserLightOpen; laserLightClose"_s},
        {ButtonAction::ModeChange, u"modeYawFollow; modeYawLock; modeFPV; modeYawFollow"_s},
    };
    ActionResolver resolver;
    for (const auto &[action, commands] : cases) {
        QList<PodCommand> resolved;
        while (resolved.size() <= commands.count(u';'))
            resolved.append(resolver.resolve(action, false).value());
        QCOMPARE(textOf(resolved), commands);
    }
}

QTEST_GUILESS_MAIN(TestJoystickMapping)
#include "tst_joystick_mapping.moc"
