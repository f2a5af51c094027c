#include "UiHarness.h"
#include "input/VirtualJoystick.h"

#include <QTest>

using namespace Qt::StringLiterals;

static constexpr int kWaitMs = 10000;

class TestJoystickWindow : public QObject
{
    Q_OBJECT

private slots:
    void assignedAxisSteers();
};

/// From the choice on the drawer's page to the bytes, also while the drawer is closed.
void TestJoystickWindow::assignedAxisSteers()
{
    UiHarness::prepare();
    UiHarness::failOnAnyWarning();
    QVERIFY2(VirtualJoystick::prepare(), SDL_GetError());
    if (SDL_NumJoysticks() > 0)
        QSKIP("A real joystick is plugged in; it would be read instead of the virtual one");
    {
        VirtualJoystick device;
        QVERIFY2(device.isValid(), SDL_GetError());
        UiHarness ui;
        ui.play(u"page 4; pick axisFunction_y 2; click axisInverted_y; pick btn2_1 3; "
                "pick combo2_2 10; set podControlDrawer visible 0"_s);
        const auto *joystick =
            ui.property(u"podControlDrawer"_s, "joystick").value<JoystickInput *>();
        QCOMPARE(joystick->shortActions().at(1), 2);
        QCOMPARE(joystick->longActions().at(1), 9);
        QTRY_VERIFY_WITH_TIMEOUT(joystick->isConnected(), kWaitMs);
        device.setAxis(4, 1); // one look at the stick in its centre
        QTRY_COMPARE_WITH_TIMEOUT(joystick->axes().at(4), 1.0, kWaitMs);
        device.setAxis(1, 1);
        QTRY_VERIFY_WITH_TIMEOUT(ui.pod().count(u"00 08 00 80"_s) > 0, kWaitMs);
        device.setAxis(1, 0);
        QTRY_COMPARE_WITH_TIMEOUT(ui.pod().frames().constLast(), u"00 00 00 00"_s, kWaitMs);
    }
    SDL_QuitSubSystem(SDL_INIT_JOYSTICK);
}

QTEST_MAIN(TestJoystickWindow)
#include "tst_joystick_window.moc"
