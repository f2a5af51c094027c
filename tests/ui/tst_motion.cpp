#include "UiHarness.h"

#include <QTest>

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
    const char *begin;
    const char *letGo;
    QString command;
    QString stop;
    QStringList ends;
};

const QStringList kAnyEnd = {u"deactivate"_s, u"minimise"_s, u"hide"_s, u"close"_s, u"quit"_s};

const Hold kHolds[] = {
    {"down W", "up W", kUp, kStop, {u"set videoRenderer focus 0"_s}},
    {"down E", "up E", kZoomIn, kZoomStop, {u"set videoRenderer focus 0"_s}},
    {"drag 80 0", "drop 80 0", kRight, kStop, {}},
    {"wheel 120", "", kZoomIn, kZoomStop, {}},
    {"menu zoomButton zoomMenu; press mouseIn",
     "release mouseIn",
     kZoomIn,
     kZoomStop,
     {u"set zoomMenu visible 0"_s, u"set mouseIn visible 0"_s, u"move videoRenderer"_s,
      u"ungrab"_s}},
    {"backend isManualFocus 1; press plusButton",
     "release plusButton",
     u"1d 02 00 00"_s,
     u"1d 04 00 00"_s,
     {u"backend isManualFocus 0"_s, u"set plusButton enabled 0"_s, u"move videoRenderer"_s,
      u"ungrab"_s}},
};

} // namespace

/// A press has one stop, whatever ends it and whenever the operator lets go after that.
class TestMotion : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase() { UiHarness::prepare(); }
    void cleanupTestCase() { QCOMPARE(UiHarness::warnings(), QStringList()); }
    void pressHasOneStop_data();
    void pressHasOneStop();
    void keysGoOnAndStopOnTheirOwn_data();
    void keysGoOnAndStopOnTheirOwn();
    void keysReleasedTogetherGetAStopEach();
    void heldKeyIsSentOnce();
    void delayedStopLeavesAHeldKeyMoving();
    void stopIsOwedAcrossALostLink();
    void dragSteersInItsDirection_data();
    void dragSteersInItsDirection();
    void dragFollowsThePointer();

private:
    /// The frames that come until `count` have, without the repeats of that command.
    static QString without(UiHarness &ui, const QString &command)
    {
        QStringList frames = ui.pod().take().split(u", "_s, Qt::SkipEmptyParts);
        frames.removeAll(command);
        return frames.join(u", "_s);
    }
};

void TestMotion::pressHasOneStop_data()
{
    QTest::addColumn<int>("hold");
    QTest::addColumn<QString>("end");
    for (int i = 0; i < std::ssize(kHolds); ++i) {
        for (const QString &end :
             kAnyEnd + kHolds[i].ends + QStringList{QString::fromLatin1(kHolds[i].letGo)})
            QTest::addRow("%s: %s", kHolds[i].begin, qPrintable(end)) << i << end;
    }
}

void TestMotion::pressHasOneStop()
{
    QFETCH(int, hold);
    QFETCH(QString, end);
    const auto &[begin, letGo, command, stop, ends] = kHolds[hold];
    UiHarness ui;
    ui.play(QString::fromLatin1(begin));
    QTRY_COMPARE_WITH_TIMEOUT(ui.pod().frames().value(0), command, kWaitMs);
    ui.play(end);
    QTRY_VERIFY_WITH_TIMEOUT(ui.pod().count(stop) > 0, kWaitMs);
    ui.play(QString::fromLatin1(letGo));
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

void TestMotion::keysReleasedTogetherGetAStopEach()
{
    UiHarness ui;
    ui.play(u"down W; down D"_s);
    for (const Qt::Key key : {Qt::Key_W, Qt::Key_D}) {
        QKeyEvent release(QEvent::KeyRelease, key, Qt::NoModifier);
        QCoreApplication::sendEvent(ui.window(), &release);
    }
    EXPECT_FRAMES(ui.pod(), (QStringList{kUp, kRight, kStop, kRight, kStop}.join(u", "_s)));
}

void TestMotion::heldKeyIsSentOnce()
{
    UiHarness ui;
    const auto send = [&](QEvent::Type type, bool markedAsRepeat) {
        QKeyEvent event(type, Qt::Key_W, Qt::NoModifier, u"w"_s, markedAsRepeat);
        QCoreApplication::sendEvent(ui.window(), &event);
    };
    ui.play(u"down W"_s);
    for (int i = 0; i < 3; ++i) {
        send(QEvent::KeyRelease, true);
        send(QEvent::KeyPress, true);
        send(QEvent::KeyPress, false); // as X11 tells it when asked to
    }
    ui.play(u"up W"_s);
    EXPECT_FRAMES(ui.pod(), kUp + u", "_s + kStop);
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
    QTest::addColumn<QPoint>("offset");
    QTest::addColumn<QString>("command");
    QTest::newRow("right") << QPoint(80, 0) << kRight;
    QTest::newRow("rightdown") << QPoint(80, 80) << u"00 12 80 80"_s;
    QTest::newRow("down") << QPoint(0, 80) << u"00 10 00 80"_s;
    QTest::newRow("leftdown") << QPoint(-80, 80) << u"00 14 80 80"_s;
    QTest::newRow("left") << QPoint(-80, 0) << u"00 04 80 00"_s;
    QTest::newRow("left, a little up") << QPoint(-80, -1) << u"00 04 80 00"_s;
    QTest::newRow("leftup") << QPoint(-80, -80) << u"00 0c 80 80"_s;
    QTest::newRow("up") << QPoint(0, -80) << kUp;
    QTest::newRow("rightup") << QPoint(80, -80) << u"00 0a 80 80"_s;
}

void TestMotion::dragSteersInItsDirection()
{
    QFETCH(QPoint, offset);
    QFETCH(QString, command);
    UiHarness ui;
    const QPoint start = ui.centre(u"videoRenderer"_s);
    const auto isShown = [&](const QString &marker) { return ui.item(marker)->isVisible(); };
    ui.play(u"drag %1 %2"_s.arg(offset.x()).arg(offset.y()));
    QVERIFY(isShown(u"imagemovecircle"_s));
    QCOMPARE(ui.centre(u"imagemovecircle"_s), start);
    QCOMPARE(ui.centre(u"imagemovering"_s), start + offset);
    // The command at once, then again with every tick.
    QCOMPARE(ui.pod().next(3), QStringList(3, command).join(u", "_s));
    ui.play(u"drop %1 %2"_s.arg(offset.x()).arg(offset.y()));
    QCOMPARE(without(ui, command), kStop);
    QVERIFY(!isShown(u"imagemovecircle"_s) && !isShown(u"imagemovering"_s));
    EXPECT_FRAMES(ui.pod(), kStop); // the delayed one
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
    const qsizetype turn = ui.pod().frames().indexOf(rightDown);
    QCOMPARE(ui.pod().count(kRight), turn);
    QCOMPARE(ui.pod().count(rightDown), ui.pod().frames().size() - turn);

    ui.pod().take();
    moveTo(10, -10); // back into the dead zone
    QCOMPARE(without(ui, rightDown), kStop);
    QVERIFY(!ui.property(u"moveTimer"_s, "running").toBool());
    moveTo(11, 0);
    QCOMPARE(ui.pod().next(2), kRight + u", "_s + kRight);

    moveTo(0, -20 - start.y()); // out of the window
    QTRY_VERIFY_WITH_TIMEOUT(ui.pod().count(kStop) > 0, kWaitMs);
    QVERIFY(ui.pod().frames().last() == kStop);
    // Until the next press the drag is over, wherever the pointer goes.
    ui.pod().take();
    moveTo(0, -60);
    QVERIFY(!ui.property(u"moveTimer"_s, "running").toBool());
    QCOMPARE(ui.pod().take(), QString());
}

QTEST_MAIN(TestMotion)
#include "tst_motion.moc"
