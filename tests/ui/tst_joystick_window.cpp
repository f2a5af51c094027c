#include "UiHarness.h"
#include "input/VirtualJoystick.h"

#include <QTest>

using namespace Qt::StringLiterals;

namespace {

constexpr int kWaitMs = 10000;
constexpr int kYaw = 1;

} // namespace

/// The joystick as part of the window: it steers although the drawer, which shows it, is closed.
class TestJoystickWindow : public QObject
{
    Q_OBJECT

private slots:

    void initTestCase()
    {
        UiHarness::prepare();
        QVERIFY2(VirtualJoystick::prepare(), SDL_GetError());
        if (SDL_NumJoysticks() > 0)
            QSKIP("A real joystick is plugged in; it would be read instead of the virtual one");
    }

    void cleanupTestCase()
    {
        SDL_QuitSubSystem(SDL_INIT_JOYSTICK);
        QCOMPARE(UiHarness::warnings(), QStringList());
    }

    void steersWhileTheDrawerIsClosed();
};

void TestJoystickWindow::steersWhileTheDrawerIsClosed()
{
    VirtualJoystick device;
    QVERIFY2(device.isValid(), SDL_GetError());
    UiHarness ui;
    const QString drawer = u"podControlDrawer"_s;
    auto *joystick = ui.property(drawer, "joystick").value<JoystickInput *>();
    QVERIFY(joystick);
    joystick->setAxisFunction(0, kYaw);
    QTRY_VERIFY_WITH_TIMEOUT(joystick->isConnected(), kWaitMs);
    device.setAxis(4, 1); // one look at the stick in its centre
    QTRY_COMPARE_WITH_TIMEOUT(joystick->axes().at(4), 1.0, kWaitMs);

    QVERIFY(!ui.item(drawer)->isVisible());
    device.setAxis(0, 1);
    QTRY_VERIFY_WITH_TIMEOUT(ui.pod().frames().contains(shortFrame(0x00, 0x02, 0x80)), kWaitMs);
    device.setAxis(0, 0);
    QTRY_COMPARE_WITH_TIMEOUT(ui.pod().frames().constLast(), shortFrame(0x00, 0x00), kWaitMs);
}

QTEST_MAIN(TestJoystickWindow)
#include "tst_joystick_window.moc"
