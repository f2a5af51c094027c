#include "UiHarness.h"

#include <QTest>

#include <array>

using namespace Qt::StringLiterals;

namespace {

constexpr int kWaitMs = 10000;

const QString kUp = u"00 08 00 80"_s;
const QString kRight = u"00 02 80 00"_s;
const QString kStop = u"00 00 00 00"_s;
const QString kZoomIn = u"00 40 04 00"_s;
const QString kZoomStop = u"00 60 00 00"_s;

/// A way to set the pod in motion and to let go of it again, and what else may end it.
struct Hold
{
    QString begin;
    QString letGo;
    QString command;
    QString stop;
    QStringList ends;
};

const QStringList kAnyEnd = {u"deactivate"_s, u"minimise"_s, u"close"_s, u"quit"_s};

const std::array<Hold, 6> kHolds = {{
    {u"down W"_s, u"up W"_s, kUp, kStop, {u"set videoRenderer focus 0"_s}},
    {u"down E"_s, u"up E"_s, kZoomIn, kZoomStop, {u"set videoRenderer focus 0"_s}},
    {u"drag 80 0"_s, u"drop 80 0"_s, kRight, kStop, {}},
    {u"wheel 120"_s, QString(), kZoomIn, kZoomStop, {}},
    {u"menu zoomButton zoomMenu; press mouseIn"_s,
     u"release mouseIn"_s,
     kZoomIn,
     kZoomStop,
     {u"set zoomMenu visible 0"_s, u"set mouseIn visible 0"_s, u"move videoRenderer"_s,
      u"ungrab"_s}},
    {u"backend isManualFocus 1; press plusButton"_s,
     u"release plusButton"_s,
     u"1d 02 00 00"_s,
     u"1d 04 00 00"_s,
     {u"backend isManualFocus 0"_s, u"set plusButton enabled 0"_s, u"move videoRenderer"_s,
      u"ungrab"_s}},
}};

/// The frames so far but the repeats of that command.
QString without(UiHarness &ui, const QString &command)
{
    QStringList frames = ui.pod().take().split(u", "_s, Qt::SkipEmptyParts);
    frames.removeAll(command);
    return frames.join(u", "_s);
}

} // namespace

/// A press has one stop, whatever ends it and whenever the operator lets go after that.
class TestMotion : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase() { UiHarness::prepare(); }
    void init() { UiHarness::failOnAnyWarning(); }
    void pressHasOneStop_data();
    void pressHasOneStop();
    void keysGoOnAndStopOnTheirOwn_data();
    void keysGoOnAndStopOnTheirOwn();
    void delayedStopLeavesAHeldKeyMoving();
    void stopIsOwedAcrossALostLink();
    void dragSteersInItsDirection_data();
    void dragSteersInItsDirection();
    void dragFollowsThePointer();
};

void TestMotion::pressHasOneStop_data()
{
    QTest::addColumn<int>("hold");
    QTest::addColumn<QString>("end");
    for (int i = 0; i < std::ssize(kHolds); ++i) {
        const Hold &hold = kHolds.at(size_t(i));
        for (const QString &end : kAnyEnd + hold.ends + QStringList{hold.letGo})
            QTest::addRow("%s: %s", qPrintable(hold.begin), qPrintable(end)) << i << end;
    }
}

void TestMotion::pressHasOneStop()
{
    QFETCH(int, hold);
    QFETCH(QString, end);
    const auto &[begin, letGo, command, stop, ends] = kHolds.at(size_t(hold));
    UiHarness ui;
    ui.play(begin);
    QTRY_COMPARE_WITH_TIMEOUT(ui.pod().frames().value(0), command, kWaitMs);
    ui.play(end);
    QTRY_VERIFY_WITH_TIMEOUT(ui.pod().count(stop) > 0, kWaitMs);
    ui.play(letGo);
    // The delayed stops of drag and wheel may come, but not twice.
    const auto running = [&](const QString &timer) {
        return ui.property(timer, "running").toBool();
    };
    const bool delayedStop = running(u"stopTimer"_s);
    QTRY_VERIFY_WITH_TIMEOUT(!running(u"stopTimer"_s) && !running(u"wheelStopTimer"_s), kWaitMs);
    ui.backend().queryVersion();
    const QString mark = u"1e 02 00 00"_s;
    QTRY_COMPARE_WITH_TIMEOUT(ui.pod().count(mark), 1, kWaitMs);
    // Ticks before the stop are commands; after it there are none.
    QVERIFY(ui.pod().frames().lastIndexOf(command) < ui.pod().frames().indexOf(stop));
    QCOMPARE(without(ui, command),
             (delayedStop ? QStringList{stop, stop, mark} : QStringList{stop, mark}).join(u", "_s));
}

void TestMotion::keysGoOnAndStopOnTheirOwn_data()
{
    QTest::addColumn<QString>("steps");
    QTest::addColumn<QStringList>("frames");
    const auto row = [](const char *steps, const QStringList &frames) {
        QTest::newRow(steps) << QString::fromLatin1(steps) << frames;
    };
    row("down W; down D; up D; up W", {kUp, kRight, kStop, kUp, kStop});
    row("down W; down E; up W; up E", {kUp, kZoomIn, kStop, kZoomStop});
    row("down W; down E; down D; deactivate; activate; up W; up E; up D; tap W",
        {kUp, kZoomIn, kRight, kStop, kZoomStop, kStop, kUp, kStop});
    row("down W; repeat W; repeat W; up W", {kUp, kStop});
    row("backend moveSpeed 37; tap A", {u"00 04 25 00"_s, kStop});
}

void TestMotion::keysGoOnAndStopOnTheirOwn()
{
    QFETCH(QString, steps);
    QFETCH(QStringList, frames);
    UiHarness ui;
    ui.play(steps);
    EXPECT_FRAMES(ui.pod(), frames.join(u", "_s));
}

void TestMotion::delayedStopLeavesAHeldKeyMoving()
{
    UiHarness ui;
    ui.play(u"drag 80 0; drop 80 0"_s);
    QVERIFY(ui.property(u"stopTimer"_s, "running").toBool());
    ui.play(u"down W"_s);
    QTRY_VERIFY_WITH_TIMEOUT(!ui.property(u"stopTimer"_s, "running").toBool(), kWaitMs);
    ui.play(u"up W"_s);
    QTRY_COMPARE_WITH_TIMEOUT(ui.pod().count(kStop), 3, kWaitMs);
    QCOMPARE(without(ui, kRight), (QStringList{kStop, kUp, kStop, kUp, kStop}.join(u", "_s)));
}

void TestMotion::stopIsOwedAcrossALostLink()
{
    UiHarness ui;
    ui.play(u"down W; down E"_s);
    EXPECT_FRAMES(ui.pod(), kUp + u", "_s + kZoomIn);
    ui.pod().drop();
    QTRY_VERIFY_WITH_TIMEOUT(!ui.backend().isConnected(), kWaitMs);
    ui.play(u"up E"_s); // nowhere to send it
    QVERIFY(ui.connectPod());
    EXPECT_FRAMES(ui.pod(), kStop + u", "_s + kZoomStop);
    ui.play(u"tap D; up W"_s); // what was held then is held no more
    EXPECT_FRAMES(ui.pod(), kRight + u", "_s + kStop);
    // Paid once: another connect owes nothing.
    ui.backend().disconnect();
    QVERIFY(ui.connectPod());
    ui.play(u"tap W"_s);
    EXPECT_FRAMES(ui.pod(), kUp + u", "_s + kStop);
}

void TestMotion::dragSteersInItsDirection_data()
{
    QTest::addColumn<QString>("offset");
    QTest::addColumn<QString>("command");
    QTest::newRow("right") << u"80 0"_s << kRight;
    QTest::newRow("rightdown") << u"80 80"_s << u"00 12 80 80"_s;
    QTest::newRow("down") << u"0 80"_s << u"00 10 00 80"_s;
    QTest::newRow("leftdown") << u"-80 80"_s << u"00 14 80 80"_s;
    QTest::newRow("left") << u"-80 0"_s << u"00 04 80 00"_s;
    QTest::newRow("left, a little up") << u"-80 -1"_s << u"00 04 80 00"_s;
    QTest::newRow("leftup") << u"-80 -80"_s << u"00 0c 80 80"_s;
    QTest::newRow("up") << u"0 -80"_s << kUp;
    QTest::newRow("rightup") << u"80 -80"_s << u"00 0a 80 80"_s;
}

void TestMotion::dragSteersInItsDirection()
{
    QFETCH(QString, offset);
    QFETCH(QString, command);
    UiHarness ui;
    ui.play(u"drag "_s + offset);
    // The command at once, then again with every tick.
    QCOMPARE(ui.pod().next(3), QStringList(3, command).join(u", "_s));
    QVERIFY(ui.item(u"imagemovecircle"_s)->isVisible());
    ui.play(u"drop "_s + offset);
    QVERIFY(!ui.item(u"imagemovecircle"_s)->isVisible());
    QCOMPARE(without(ui, command), kStop);
}

void TestMotion::dragFollowsThePointer()
{
    UiHarness ui;
    const QPoint start = ui.centre(u"videoRenderer"_s);
    const auto moveTo = [&](int x, int y) { QTest::mouseMove(ui.window(), start + QPoint(x, y)); };
    const QString rightDown = u"00 12 80 80"_s;
    ui.play(u"drag 100 0"_s);
    QCOMPARE(ui.pod().next(2), kRight + u", "_s + kRight);
    moveTo(100, 100); // without a stop between
    QTRY_VERIFY_WITH_TIMEOUT(ui.pod().count(rightDown) >= 2, kWaitMs);
    QCOMPARE(ui.pod().count(kStop), 0);
    moveTo(10, -10); // back into the dead zone
    QTRY_COMPARE_WITH_TIMEOUT(ui.pod().frames().last(), kStop, kWaitMs);
    QVERIFY(!ui.property(u"moveTimer"_s, "running").toBool());
    ui.pod().take();
    moveTo(11, 0);
    QCOMPARE(ui.pod().next(2), kRight + u", "_s + kRight);
    moveTo(0, -20 - start.y()); // out of the window
    QTRY_VERIFY_WITH_TIMEOUT(ui.pod().count(kStop) > 0, kWaitMs);
    // Until the next press the drag is over, wherever the pointer goes.
    ui.pod().take();
    moveTo(0, -60);
    QVERIFY(!ui.property(u"moveTimer"_s, "running").toBool());
    QCOMPARE(ui.pod().take(), QString());
}

QTEST_MAIN(TestMotion)
#include "tst_motion.moc"
