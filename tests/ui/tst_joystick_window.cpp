#include "UiHarness.h"
#include "input/VirtualJoystick.h"

#include <QTest>

using namespace Qt::StringLiterals;

static constexpr int kWaitMs = 10000;

class TestJoystickWindow : public QObject
{
    Q_OBJECT

private slots:
    void steersWhileTheDrawerIsClosed();
};

void TestJoystickWindow::steersWhileTheDrawerIsClosed()
{
    UiHarness::prepare();
    QVERIFY2(VirtualJoystick::prepare(), SDL_GetError());
    if (SDL_NumJoysticks() > 0)
        QSKIP("A real joystick is plugged in; it would be read instead of the virtual one");
    {
        VirtualJoystick device;
        QVERIFY2(device.isValid(), SDL_GetError());
        UiHarness ui;
        const QString drawer = u"podControlDrawer"_s;
        auto *joystick = ui.property(drawer, "joystick").value<JoystickInput *>();
        QVERIFY(joystick);
        joystick->setAxisFunction(0, int(input::AxisFunction::Yaw));
        QTRY_VERIFY_WITH_TIMEOUT(joystick->isConnected(), kWaitMs);
        device.setAxis(4, 1); // one look at the stick in its centre
        QTRY_COMPARE_WITH_TIMEOUT(joystick->axes().at(4), 1.0, kWaitMs);
        QVERIFY(!ui.item(drawer)->isVisible());
        device.setAxis(0, 1);
        QTRY_VERIFY_WITH_TIMEOUT(ui.pod().count(u"00 02 80 00"_s) > 0, kWaitMs);
        device.setAxis(0, 0);
        QTRY_COMPARE_WITH_TIMEOUT(ui.pod().frames().constLast(), u"00 00 00 00"_s, kWaitMs);
    }
    SDL_QuitSubSystem(SDL_INIT_JOYSTICK);
    QCOMPARE(UiHarness::warnings(), QStringList());
}

QTEST_MAIN(TestJoystickWindow)
#include "tst_joystick_window.moc"
