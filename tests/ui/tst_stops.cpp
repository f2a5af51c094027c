#include "UiHarness.h"

#include <QTest>

#include <functional>

using namespace Qt::StringLiterals;
using Act = std::function<void(UiHarness &)>;
Q_DECLARE_METATYPE(Act)

namespace {

constexpr int kWaitMs = 10000;
constexpr int kSpeed = 128;
constexpr int kZoomSpeed = 4;

const QString kVideo = u"videoRenderer"_s;
const QString kUp = shortFrame(0x00, 0x08, 0, kSpeed);
const QString kRight = shortFrame(0x00, 0x02, kSpeed);
const QString kStop = shortFrame(0x00, 0x00);
const QString kZoomIn = shortFrame(0x00, 0x40, kZoomSpeed);
const QString kZoomStop = shortFrame(0x00, 0x60);
const QString kFocusNear = shortFrame(0x1d, 0x02);
const QString kFocusStop = shortFrame(0x1d, 0x04);

/// A way to set the pod in motion and to let go of it again.
struct Hold
{
    const char *name;
    Act begin;
    Act letGo;
    QString command;
    QString stop;
};

QPoint dragEnd(UiHarness &ui) { return ui.centre(kVideo) + QPoint(80, 0); }

Hold keyHold(const char *name, Qt::Key key, const QString &command, const QString &stop)
{
    return {name, [key](UiHarness &ui) { QTest::keyPress(ui.window(), key); },
            [key](UiHarness &ui) { QTest::keyRelease(ui.window(), key); }, command, stop};
}

QList<Hold> holds()
{
    return {
        keyHold("W", Qt::Key_W, kUp, kStop),
        keyHold("E", Qt::Key_E, kZoomIn, kZoomStop),
        {"drag",
         [](UiHarness &ui) {
             QTest::mousePress(ui.window(), Qt::LeftButton, {}, ui.centre(kVideo));
             QTest::mouseMove(ui.window(), dragEnd(ui));
         },
         [](UiHarness &ui) { QTest::mouseRelease(ui.window(), Qt::LeftButton, {}, dragEnd(ui)); },
         kRight, kStop},
        {"wheel", [](UiHarness &ui) { ui.wheel(kVideo); }, [](UiHarness &) {}, kZoomIn, kZoomStop},
        {"mouseIn",
         [](UiHarness &ui) {
             ui.openMenu(u"zoomButton"_s, u"zoomMenu"_s);
             ui.press(u"mouseIn"_s);
         },
         [](UiHarness &ui) { ui.release(u"mouseIn"_s); }, kZoomIn, kZoomStop},
        {"plusButton",
         [](UiHarness &ui) {
             ui.backend().setIsManualFocus(true);
             ui.press(u"plusButton"_s);
         },
         [](UiHarness &ui) { ui.release(u"plusButton"_s); }, kFocusNear, kFocusStop},
    };
}

struct End
{
    const char *name;
    Act act;
};

/// Everything that may end a motion before the operator lets go.
QList<End> ends()
{
    return {
        {"window deactivated", [](UiHarness &ui) { ui.deactivate(); }},
        {"window minimised", [](UiHarness &ui) { ui.window()->showMinimized(); }},
        {"window hidden", [](UiHarness &ui) { ui.window()->hide(); }},
        {"application quits",
         [](UiHarness &) {
             QMetaObject::invokeMethod(qApp, &QCoreApplication::quit, Qt::QueuedConnection);
             QCoreApplication::exec();
         }},
    };
}

Act setVisible(const QString &name, bool visible)
{
    return [=](UiHarness &ui) { ui.item(name)->setVisible(visible); };
}

} // namespace

/// A press has one stop, whatever ends it and whenever the operator lets go after that.
class TestStops : public QObject
{
    Q_OBJECT

private slots:

    void initTestCase() { UiHarness::prepare(); }

    void cleanupTestCase() { QCOMPARE(UiHarness::warnings(), QStringList()); }

    void pressHasOneStop_data();
    void pressHasOneStop();
    void secondKeyGoesOnAfterTheFirst();
    void keysReleasedTogetherGetAStopEach();
    void motionsOfDifferentKindsStopOnTheirOwn();
    void focusLossStopsEveryHeldKey();
    void delayedStopLeavesAHeldKeyMoving();
    void stopIsOwedAcrossALostLink();
    void windowClosedInAMotionStopsFirst();
};

void TestStops::pressHasOneStop_data()
{
    QTest::addColumn<Act>("begin");
    QTest::addColumn<Act>("end");
    QTest::addColumn<Act>("letGo");
    QTest::addColumn<QString>("command");
    QTest::addColumn<QString>("stop");
    const auto row = [](const Hold &hold, const char *name, const Act &end) {
        QTest::addRow("%s: %s", hold.name, name)
            << hold.begin << end << hold.letGo << hold.command << hold.stop;
    };
    for (const Hold &hold : holds()) {
        const QByteArray name = hold.name;
        for (const End &end : ends())
            row(hold, end.name, end.act);
        if (name == "wheel")
            row(hold, "no more notches", [](UiHarness &) {});
        else
            row(hold, "let go", hold.letGo);
        if (name == "W" || name == "E")
            row(hold, "keyboard taken away", [](UiHarness &ui) { ui.video()->setFocus(false); });
        if (name == "mouseIn") {
            row(hold, "menu closed", [](UiHarness &ui) {
                QMetaObject::invokeMethod(ui.object(u"zoomMenu"_s), "close");
            });
            row(hold, "entry hidden", setVisible(u"mouseIn"_s, false));
        }
        if (name == "plusButton") {
            row(hold, "focus mode switched off",
                [](UiHarness &ui) { ui.backend().setIsManualFocus(false); });
            row(hold, "button disabled",
                [](UiHarness &ui) { ui.item(u"plusButton"_s)->setEnabled(false); });
        }
        if (name == "mouseIn" || name == "plusButton") {
            row(hold, "pointer slid off",
                [](UiHarness &ui) { QTest::mouseMove(ui.window(), ui.centre(kVideo)); });
            row(hold, "grab taken away", [](UiHarness &ui) {
                for (auto *item : ui.window()->findChildren<QQuickItem *>())
                    item->ungrabMouse();
            });
        }
    }
}

void TestStops::pressHasOneStop()
{
    QFETCH(Act, begin);
    QFETCH(Act, end);
    QFETCH(Act, letGo);
    QFETCH(QString, command);
    QFETCH(QString, stop);
    UiHarness ui;
    begin(ui);
    QCOMPARE(ui.pod().waitForFrames(1).first(), command);
    end(ui);
    QTRY_VERIFY_WITH_TIMEOUT(ui.pod().frames().contains(stop), kWaitMs);
    letGo(ui);
    // Long enough for the delayed stops of drag and wheel, which may come but not twice.
    const auto running = [&] {
        return ui.property(u"stopTimer"_s, "running").toBool()
               || ui.property(u"wheelStopTimer"_s, "running").toBool();
    };
    const bool delayedStop = ui.property(u"stopTimer"_s, "running").toBool();
    QTRY_VERIFY_WITH_TIMEOUT(!running(), kWaitMs);
    ui.backend().queryVersion(); // marks the end
    const QString mark = shortFrame(0x1e, 0x02);
    QTRY_VERIFY_WITH_TIMEOUT(ui.pod().frames().contains(mark), kWaitMs);
    QStringList frames = ui.pod().takeFrames();
    // Ticks before the stop are commands; after it there are none.
    QVERIFY(frames.lastIndexOf(command) < frames.indexOf(stop));
    frames.removeAll(command);
    QCOMPARE(frames, (delayedStop ? QStringList{stop, stop, mark} : QStringList{stop, mark}));
}

void TestStops::secondKeyGoesOnAfterTheFirst()
{
    UiHarness ui;
    QTest::keyPress(ui.window(), Qt::Key_W);
    QTest::keyPress(ui.window(), Qt::Key_D);
    QTest::keyRelease(ui.window(), Qt::Key_D);
    QCOMPARE(ui.pod().waitForFrames(4), (QStringList{kUp, kRight, kStop, kUp}));
    QTest::keyRelease(ui.window(), Qt::Key_W);
    QCOMPARE(ui.pod().waitForFrames(1), QStringList{kStop});
}

void TestStops::keysReleasedTogetherGetAStopEach()
{
    UiHarness ui;
    QTest::keyPress(ui.window(), Qt::Key_W);
    QTest::keyPress(ui.window(), Qt::Key_D);
    ui.pod().waitForFrames(2);
    for (const Qt::Key key : {Qt::Key_W, Qt::Key_D}) {
        QKeyEvent release(QEvent::KeyRelease, key, Qt::NoModifier);
        QCoreApplication::sendEvent(ui.window(), &release);
    }
    QCOMPARE(ui.pod().waitForFrames(3), (QStringList{kStop, kRight, kStop}));
}

void TestStops::motionsOfDifferentKindsStopOnTheirOwn()
{
    UiHarness ui;
    QTest::keyPress(ui.window(), Qt::Key_W);
    QTest::keyPress(ui.window(), Qt::Key_E);
    QTest::keyRelease(ui.window(), Qt::Key_W);
    QTest::keyRelease(ui.window(), Qt::Key_E);
    QCOMPARE(ui.pod().waitForFrames(4), (QStringList{kUp, kZoomIn, kStop, kZoomStop}));
}

void TestStops::focusLossStopsEveryHeldKey()
{
    UiHarness ui;
    for (const Qt::Key key : {Qt::Key_W, Qt::Key_E, Qt::Key_D})
        QTest::keyPress(ui.window(), key);
    ui.pod().waitForFrames(3);
    ui.deactivate();
    QCOMPARE(ui.pod().waitForFrames(3), (QStringList{kStop, kZoomStop, kStop}));
    ui.activate();
    for (const Qt::Key key : {Qt::Key_W, Qt::Key_E, Qt::Key_D})
        QTest::keyRelease(ui.window(), key);
    QTest::keyClick(ui.window(), Qt::Key_W);
    QCOMPARE(ui.pod().waitForFrames(2), (QStringList{kUp, kStop}));
}

void TestStops::delayedStopLeavesAHeldKeyMoving()
{
    UiHarness ui;
    QTest::mousePress(ui.window(), Qt::LeftButton, {}, ui.centre(kVideo));
    QTest::mouseMove(ui.window(), dragEnd(ui));
    QTest::mouseRelease(ui.window(), Qt::LeftButton, {}, dragEnd(ui));
    QVERIFY(ui.property(u"stopTimer"_s, "running").toBool());
    QTest::keyPress(ui.window(), Qt::Key_W);
    QTRY_VERIFY_WITH_TIMEOUT(!ui.property(u"stopTimer"_s, "running").toBool(), kWaitMs);
    QTest::keyRelease(ui.window(), Qt::Key_W);
    QStringList frames;
    QTRY_COMPARE_WITH_TIMEOUT((frames += ui.pod().takeFrames()).count(kStop), 3, kWaitMs);
    frames.removeAll(kRight);
    QCOMPARE(frames, (QStringList{kStop, kUp, kStop, kUp, kStop}));
}

void TestStops::stopIsOwedAcrossALostLink()
{
    UiHarness ui;
    QTest::keyPress(ui.window(), Qt::Key_W);
    QTest::keyPress(ui.window(), Qt::Key_E);
    ui.pod().waitForFrames(2);
    ui.pod().drop();
    QTRY_VERIFY_WITH_TIMEOUT(!ui.backend().isConnected(), kWaitMs);
    QTest::keyRelease(ui.window(), Qt::Key_W); // nowhere to send it
    QVERIFY(ui.connectPod());
    QCOMPARE(ui.pod().waitForFrames(2), (QStringList{kStop, kZoomStop}));
    QTest::keyRelease(ui.window(), Qt::Key_E);
    // Paid once: another connect owes nothing.
    ui.backend().disconnect();
    QVERIFY(ui.connectPod());
    QTest::keyClick(ui.window(), Qt::Key_W);
    QCOMPARE(ui.pod().waitForFrames(2), (QStringList{kUp, kStop}));
}

void TestStops::windowClosedInAMotionStopsFirst()
{
    UiHarness ui;
    QTest::keyPress(ui.window(), Qt::Key_W);
    ui.pod().waitForFrames(1);
    ui.window()->close();
    QCOMPARE(ui.pod().waitForFrames(1), QStringList{kStop});
}

QTEST_MAIN(TestStops)
#include "tst_stops.moc"
