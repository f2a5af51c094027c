#include "UiHarness.h"

#include <QTest>

using namespace Qt::StringLiterals;

/// From the operator's gesture to the bytes on the control link.
class TestWindow : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase() { UiHarness::prepare(); }
    void stripButtonSendsItsFrame();
};

void TestWindow::stripButtonSendsItsFrame()
{
    UiHarness ui;
    ui.click(u"photobutton"_s);
    QCOMPARE(ui.pod().waitForFrames(1), QStringList{u"ff 01 12 00 00 00 13"_s});
}

QTEST_MAIN(TestWindow)
#include "tst_window.moc"
