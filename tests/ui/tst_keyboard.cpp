#include "CaseTrace.h"
#include "PodSim.h"
#include "UiHarness.h"

#include <QTest>

#include <algorithm>
#include <array>

using namespace Qt::StringLiterals;

namespace {

constexpr int kMostControls = 200;
constexpr int kWaitMs = 30000;

struct Row
{
    const char *name;
    const char *steps;
};

constexpr auto kPlaces = std::to_array<Row>({
    {"window", "backend isTracking 1; backend isManualFocus 1"},
    {"lost link", "cut; see linkBanner visible true"},
    {"connection", "page 0"},
    {"gimbal", "page 1"},
    {"functions", "page 2"},
    // Read, or it cannot be written
    {"channels", "page 3; reply ee0400000102030405060708090a0b127172737475767778797a7b; "
                 "see sbusChoice0 enabled true"},
    {"joystick", "page 4"},
    {"positioning", "page 5"},
    {"firmware", "page 6"},
    {"keys", "tap F1; see keyPage opened true"},
    {"question", "page 1; click rebootButton; see customDialog opened true"},
});

/// A setting of the pod, changed with the drawer open, and what the pod says of it then.
struct Setting
{
    const char *steps;
    const char *state;
    const char *value;
};

constexpr auto kSettings = std::to_array<Setting>({
    {"go pageButton1; tap Return; go comboboxfrequency; tap Down; tap Down; tap Down; tap Return",
     "statusFrequency", "1"},
    {"go pitchInput; keys -30; tap Return", "pitch", "-30"},
    {"go pageButton2; tap Space; go manualfocusrowSwitch; tap Space", "manualFocus", "true"},
    {"go osdshowrowSwitch; tap Space", "osd", "false"},
    {"go targetcheckrowSwitch; tap Space", "targetDetection", "false"},
    {"go trackautozoomrowSwitch; tap Return", "autoZoomTracking", "true"},
    {"go continuousdistancerowSwitch; tap Space", "continuousRanging", "true"},
    {"go clearfrogrowSwitch; tap Space", "defog", "true"},
    {"go electroniczoomrowSwitch; tap Space", "electronicZoom", "true"},
    {"go laserlightrowSwitch; tap Space", "laserLight", "true"},
    {"go followframesizecombo; tap Space; tap Down; tap Down; tap Return", "frameSize", "1"},
    {"go kjgrowCombo; keys 3; tap Return", "zoom", "3"},
});

bool isVisibleAndEnabled(const QQuickItem *item) { return item->isVisible() && item->isEnabled(); }

/// What an operator uses: by its type, for the interface's own ones the QML file's name.
bool isControl(const QQuickItem *item)
{
    return (item->inherits("QQuickAbstractButton") && !item->inherits("QQuickItemDelegate"))
           || item->inherits("QQuickComboBox") || item->inherits("QQuickSlider")
           || (item->inherits("QQuickTextField") && !item->property("readOnly").toBool())
           || QByteArrayView(item->metaObject()->className()).startsWith("PressArea");
}

void collect(QQuickItem *parent, QList<QQuickItem *> &controls)
{
    for (QQuickItem *child : parent->childItems()) {
        if (isControl(child) && isVisibleAndEnabled(child))
            controls.append(child);
        collect(child, controls);
    }
}

QString nameOf(const QQuickItem *item)
{
    return item->objectName().isEmpty() && item->parentItem() ? nameOf(item->parentItem())
                                                              : item->objectName();
}

QRectF placeOf(const QQuickItem *item) { return item->mapRectToScene(item->boundingRect()); }

} // namespace

/// The operator without a pointer: every control is reached in reading order and can be seen to be,
/// and a whole flight takes no more.
class TestKeyboard : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase()
    {
        UiHarness::prepare();
        m_ui = std::make_unique<UiHarness>();
    }
    void init() { m_ui->rest(); }
    void tabReachesAll_data() { rows(kPlaces); }
    void tabReachesAll();
    void flight();
    void cleanupTestCase() { m_ui.reset(); }

private:
    static void rows(const auto &table)
    {
        QTest::addColumn<QString>("steps");
        for (const Row &row : table)
            QTest::newRow(row.name) << QString::fromUtf8(row.steps);
    }

    PodSim m_sim{{u"--model"_s, u"99"_s}};
    std::unique_ptr<UiHarness> m_ui;
};

void TestKeyboard::tabReachesAll()
{
    QFETCH(QString, steps);
    m_ui->play(steps);
    const bool inPopup = steps.contains(u"opened true"_s);
    QList<QQuickItem *> controls;
    auto *root = m_ui->window()->contentItem();
    auto *popup = inPopup ? m_ui->object(steps.section(u' ', -3, -3)) : nullptr;
    collect(popup ? popup->property("contentItem").value<QQuickItem *>() : root, controls);
    QVERIFY(controls.size() > 1);
    if (!inPopup)
        m_ui->video()->forceActiveFocus();
    QList<QQuickItem *> reached;
    for (int press = 0; press < kMostControls; ++press) {
        QTest::keyClick(m_ui->window(), Qt::Key_Tab);
        QQuickItem *item = m_ui->window()->activeFocusItem();
        while (item && !isControl(item)) // the text within a box
            item = item->parentItem();
        if (!item || reached.contains(item))
            break;
        reached.append(item);
        const auto *ring = item->findChild<QQuickItem *>(u"focusRing"_s);
        const bool hasOwnBorder = m_ui->window()->property("typing").toBool();
        QVERIFY2(hasOwnBorder || (ring && ring->isVisible()), qPrintable(nameOf(item)));
        QVERIFY2(QRectF(root->boundingRect()).contains(placeOf(item).center()),
                 qPrintable(nameOf(item) + u" is out of sight"_s));
    }
    for (QQuickItem *control : controls)
        QVERIFY2(reached.contains(control), qPrintable(nameOf(control) + u" is not reached"_s));
    // Within a page, a strip or a box no control stands above and left of the one before it.
    for (qsizetype i = 1; i < reached.size(); ++i) {
        const QRectF before = placeOf(reached[i - 1]);
        const QRectF now = placeOf(reached[i]);
        const bool isBack = now.bottom() <= before.top() && now.right() <= before.left();
        QVERIFY2(!isBack, qPrintable(nameOf(reached[i - 1]) + u" before "_s + nameOf(reached[i])));
    }
}

void TestKeyboard::flight()
{
    UiHarness ui(UiHarness::kNoStream, false);
    ui.play(u"tap F2; go ipInput; keys 127.0.0.1; tap Tab; keys %1; tap Return; "
            "see window gimbalConnected true; go urlInput; keys %2; tap Return; tap F2; "
            "see videoRenderer playing true; down W; down E"_s.arg(
                QString::number(m_sim.controlPort()), m_sim.rtspUrl()));
    QTRY_VERIFY_WITH_TIMEOUT(m_sim.state(u"pitch"_s).toDouble() > 1, kWaitMs);
    QTRY_VERIFY_WITH_TIMEOUT(m_sim.state(u"zoom"_s).toDouble() > 1.2, kWaitMs);
    ui.play(u"up W; up E; go photobutton; tap Space; go recordbutton; tap Space; tap F2"_s);
    QTRY_VERIFY_WITH_TIMEOUT(m_sim.state(u"recording"_s).toBool(), kWaitMs);
    QCOMPARE(m_sim.state(u"photos"_s), 1);
    for (const Setting &setting : kSettings) {
        const CaseTrace trace(setting.state, setting.steps);
        ui.play(QString::fromUtf8(setting.steps));
        QTRY_COMPARE_WITH_TIMEOUT(m_sim.state(QString::fromUtf8(setting.state)).toString(),
                                  QString::fromUtf8(setting.value), kWaitMs);
    }
    ui.play(
        u"go pageButton1; tap Space; go comboboxlanguage; tap Down; tap Down; tap Return; "
        "see window oldLanguageIndex 1; kept General/languageIndex 1; go pageButton4; tap Space; "
        "go axisFunction_x; tap Space; tap Down; tap Return; kept Joystick/axisXFunction yaw; "
        "go pageButton5; tap Return; go mapStartButton; tap Space; see mapStartButton active true"_s);
}

QTEST_MAIN(TestKeyboard)
#include "tst_keyboard.moc"
