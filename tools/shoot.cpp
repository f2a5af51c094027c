// Takes the pictures of docs/images: the real interface, connected to the simulated pod and showing
// its video, is brought into each state and grabbed. It also says what the interface logged.
// Usage: shoot FOLDER [window|states|drag|menus|drawer|upgrade|keys|recorder|scaled]
// "scaled" is taken only when it is named: at the scale that QT_SCALE_FACTOR asks for.

#include "PodSim.h"
#include "UiHarness.h"

#include <QDir>
#include <QFile>
#include <QGuiApplication>
#include <QTemporaryDir>
#include <QTest>

#include <functional>

using namespace Qt::StringLiterals;

namespace {

constexpr int kWaitMs = 20000;
/// Fades, the delay of tool tips and the way of a picture from the pod to the window.
constexpr int kSettleMs = 1200;
constexpr QSize kNormalSize{1080, 720};
constexpr int kEncoderModel = 45;
constexpr int kThermalModel = 1;

struct Language
{
    int index;
    QString suffix;
};

const QList<Language> kLanguages = {{0, u"-zh"_s}, {1, u"-en"_s}};

void waitFor(const char *what, const std::function<bool()> &condition)
{
    if (!QTest::qWaitFor(condition, kWaitMs))
        qFatal("shoot: %s: not within %d ms", what, kWaitMs);
}

/// Asks again when no answer comes: an answer that shares a delivery with another frame is lost.
void ask(const char *what, const std::function<void()> &question,
         const std::function<bool()> &answered)
{
    constexpr int kAttempts = 10;
    constexpr int kAnswerMs = kWaitMs / kAttempts;
    for (int i = 0; i < kAttempts; ++i) {
        question();
        if (QTest::qWaitFor(answered, kAnswerMs))
            return;
    }
    qFatal("shoot: %s: no answer", what);
}

QByteArray settingsFor(const PodSim &pod, int language)
{
    return "[RTSP]\nrtspIp=" + pod.rtspUrl().toUtf8()
           + "\n[TCP]\ndeviceIp=127.0.0.1\ndevicePort=" + QByteArray::number(pod.controlPort())
           + "\n[Recording]\nfolder=recordings\n[%General]\nlanguageIndex="
           + QByteArray::number(language) + '\n';
}

/// One console with one simulated pod.
class Scene
{
public:
    Scene(const QDir &folder, int model, int language = 0)
        : m_folder(folder)
        , m_pod({u"--model"_s, QString::number(model)})
        , m_ui(settingsFor(m_pod, language), false)
    {
        resize(kNormalSize);
        waitFor("video", [this] { return !m_ui.video()->contentRect().isEmpty(); });
    }

    UiHarness &ui() { return m_ui; }
    PodSim &pod() { return m_pod; }

    void resize(QSize size)
    {
        m_ui.window()->resize(size);
        waitFor("size", [&] { return m_ui.window()->size() == size; });
    }

    /// As the operator does it, on the connection page; then the pod looks down at the landscape.
    void connectOverTcp()
    {
        m_ui.play(u"page 0"_s);
        m_ui.play(u"click tcpButton"_s);
        waitFor("link", [this] { return m_ui.backend().isConnected(); });
        ask(
            "version", [this] { m_ui.backend().queryVersion(); },
            [this] { return !m_ui.backend().versionno().isEmpty(); });
        closeDrawer();
        m_pod.fault(u"attitude -11 31"_s);
        m_pod.fault(u"zoom 2"_s);
        waitFor("zoom", [this] { return m_ui.backend().zoomint() == 2; });
    }

    void closeDrawer() { m_ui.item(u"podControlDrawer"_s)->setVisible(false); }

    void point(QPoint position) { QTest::mouseMove(m_ui.window(), position); }

    QRect rectOf(const QString &name) const { return rectOf(m_ui.item(name)); }
    static QRect rectOf(const QQuickItem *item)
    {
        return item->mapRectToScene(item->boundingRect()).toAlignedRect();
    }

    /// Without a rectangle, which is in the window's units, the whole window.
    void shoot(const QString &name, const QRect &crop = {})
    {
        QTest::qWait(kSettleMs);
        const QImage image = m_ui.window()->grabWindow();
        const QString file = m_folder.filePath(name + u".png"_s);
        const qreal scale = image.devicePixelRatio();
        const QRect part(crop.topLeft() * scale, crop.size() * scale);
        if (!(crop.isNull() ? image : image.copy(part & image.rect())).save(file))
            qFatal("shoot: %s cannot be written", qPrintable(file));
    }

private:
    QDir m_folder;
    PodSim m_pod;
    UiHarness m_ui;
};

/// Points at a place of the window that has nothing to tell.
constexpr QPoint kNowhere{300, 300};

void shootWindow(const QDir &folder)
{
    constexpr int kEnglish = 1;
    Scene scene(folder, kThermalModel, kEnglish);
    scene.connectOverTcp();
    scene.ui().window()->setProperty("isPodInfoValuesShow", true);
    scene.point(kNowhere);
    scene.shoot(u"main-window"_s);
    for (const QSize size : {QSize(800, 600), kNormalSize, QSize(1920, 1080)}) {
        const QString name = u"window-%1x%2"_s.arg(size.width()).arg(size.height());
        scene.resize(size);
        scene.shoot(name);
        scene.ui().play(u"page 2"_s);
        scene.point(kNowhere);
        scene.shoot(name + u"-drawer"_s);
        scene.closeDrawer();
    }
}

void shootStates(const QDir &folder)
{
    Scene scene(folder, kThermalModel);
    scene.point(kNowhere);
    scene.shoot(u"state-not-connected"_s);
    scene.ui().play(u"click photobutton"_s);
    scene.point(kNowhere);
    scene.shoot(u"state-refused-command"_s);
    scene.connectOverTcp();
    scene.ui().window()->setProperty("isPodInfoValuesShow", true);
    scene.ui().backend().setIsTracking(true);
    scene.ui().backend().setIsManualFocus(true);
    scene.ui().play(u"click recordbutton"_s);
    scene.point(kNowhere);
    scene.shoot(u"state-recording-focus-tracking"_s);
    scene.pod().fault(u"status rate 0"_s);
    waitFor("silence", [&] { return scene.ui().backend().statusStale(); });
    scene.shoot(u"state-stale-link"_s);
    scene.pod().fault(u"status rate 25"_s);
    scene.pod().fault(u"control drop rst"_s);
    waitFor("lost link", [&] { return !scene.ui().backend().isConnected(); });
    scene.shoot(u"state-lost-link"_s);
    scene.ui().play(u"click reconnectButton"_s);
    waitFor("link", [&] { return scene.ui().backend().isConnected(); });
    scene.pod().fault(u"video kill"_s);
    waitFor("lost video", [&] { return scene.ui().video()->isReconnecting(); });
    scene.shoot(u"state-lost-video"_s);
    scene.ui().play(u"page 0"_s);
    scene.point(kNowhere);
    scene.shoot(u"state-lost-video-drawer"_s);
}

void shootDrag(const QDir &folder)
{
    constexpr QPoint kFrom{420, 330};
    constexpr QPoint kTo{520, 270};
    Scene scene(folder, kThermalModel);
    scene.connectOverTcp();
    QQuickWindow *window = scene.ui().window();
    QTest::mousePress(window, Qt::LeftButton, {}, kFrom);
    QTest::mouseMove(window, kTo);
    scene.shoot(u"state-drag"_s);
    QTest::mouseRelease(window, Qt::LeftButton, {}, kTo);
}

void shootUpgrade(const QDir &folder, const Language &language)
{
    constexpr int kFirmwareBytes = 100 * 1024;
    constexpr int kPercent = 40;
    QTemporaryDir work;
    QFile firmware(work.filePath(u"firmware.bin"_s));
    if (!firmware.open(QIODevice::WriteOnly) || !firmware.resize(kFirmwareBytes))
        qFatal("shoot: no firmware file");
    const PodSim bootloader({u"--bootloader"_s, u"--line-baud"_s, u"115200"_s, u"--image"_s,
                             work.filePath(u"received"_s)});
    Scene scene(folder, kThermalModel, language.index);
    UiHarness &ui = scene.ui();
    ui.play(
        u"page 6; type filedirectionInput %1; type updateportslist %2; click comupdateButton; see customDialog opened true; click dialogButton"_s
            .arg(firmware.fileName(), bootloader.ptyPath()));
    waitFor("progress", [&] { return ui.backend().upgradeProgress() > kPercent; });
    scene.point(kNowhere);
    scene.shoot(u"upgrade-local"_s + language.suffix, scene.rectOf(u"podControlDrawer"_s));
    waitFor("upgrade", [&] { return !ui.backend().localUpgradeRunning(); });
}

void shootMenus(const QDir &folder, const Language &language)
{
    struct Menu
    {
        QString button;
        QString menu;
        QString pointedAt;
        QString name;
    };
    const QList<Menu> menus = {
        {u"hzhbutton"_s, u"hzhMenu"_s, u"mousekjginrcx"_s, u"menu-picture-in-picture"_s},
        {u"wcbutton"_s, u"wcMenu"_s, u"mousecr"_s, u"menu-thermal-colours"_s},
        {u"zoomButton"_s, u"zoomMenu"_s, u"mouseIn"_s, u"menu-zoom"_s},
        {u"centerbutton"_s, u"centerMenu"_s, u"mouse1"_s, u"menu-one-key"_s},
        {u"gimbalbutton"_s, u"modeMenu"_s, u"mousefollow"_s, u"menu-gimbal-mode"_s},
    };
    constexpr int kTipWidth = 200;
    constexpr int kMargin = 12;
    Scene scene(folder, kThermalModel, language.index);
    scene.connectOverTcp();
    for (const Menu &menu : menus) {
        scene.ui().play(u"menu %1 %2"_s.arg(menu.button, menu.menu));
        scene.point(scene.ui().centre(menu.pointedAt));
        const auto *content = scene.ui().property(menu.menu, "contentItem").value<QQuickItem *>();
        scene.shoot(menu.name + language.suffix,
                    scene.rectOf(u"podControlsTools"_s)
                        .united(Scene::rectOf(content).marginsAdded({kTipWidth, 0, 0, 0}))
                        .marginsAdded({kMargin, kMargin, kMargin, kMargin}));
        QTest::keyClick(scene.ui().window(), Qt::Key_Escape);
        waitFor("closed menu", [&] { return !scene.ui().property(menu.menu, "visible").toBool(); });
    }
}

void shootKeys(const QDir &folder, const Language &language)
{
    Scene scene(folder, kThermalModel, language.index);
    scene.connectOverTcp();
    scene.ui().play(u"tap F4"_s);
    scene.point(kNowhere);
    constexpr int kPlotMs = 12000;
    QTest::qWait(kPlotMs);
    scene.shoot(u"statistics"_s + language.suffix);
    scene.ui().play(u"tap F4; tap F1; click key_photo; tap R"_s);
    scene.point(kNowhere);
    scene.shoot(u"keys"_s + language.suffix);
    scene.ui().play(
        u"tap Escape; tap Escape; see keyPage opened false; page 1; go comboboxprotocoltype"_s);
    scene.shoot(u"focus-ring"_s + language.suffix, scene.rectOf(u"podControlDrawer"_s));
}

void shootScaled(const QDir &folder)
{
    constexpr QSize kSmallest{800, 600};
    Scene scene(folder, kThermalModel);
    scene.connectOverTcp();
    scene.resize(kSmallest);
    scene.ui().play(u"page 1"_s);
    scene.point(kNowhere);
    scene.shoot(u"window-scaled"_s);
}

void shootRecorder(const QDir &folder, const Language &language)
{
    constexpr int kSomeMs = 4000;
    Scene scene(folder, kThermalModel, language.index);
    scene.connectOverTcp();
    scene.ui().play(u"tap Shift+R; see recorder state Writing"_s);
    QTest::qWait(kSomeMs);
    scene.ui().play(u"page 0"_s);
    scene.point(kNowhere);
    scene.shoot(u"recorder"_s + language.suffix);
}

void shootDrawer(const QDir &folder, const Language &language)
{
    Scene scene(folder, kEncoderModel, language.index);
    UiHarness &ui = scene.ui();
    // Refused for want of a link, then for what was typed.
    ui.play(u"page 2"_s);
    ui.play(u"click osdshowrowSwitch"_s);
    scene.shoot(u"box-not-connected"_s + language.suffix);
    ui.play(u"click dialogButton"_s);
    waitFor("closed box", [&] { return !ui.property(u"customDialog"_s, "visible").toBool(); });
    ui.play(u"page 0"_s);
    ui.play(u"type ipInput 127.0.0.256"_s);
    ui.play(u"click tcpButton"_s);
    scene.shoot(u"box-refused-input"_s + language.suffix, scene.rectOf(u"podControlDrawer"_s));
    ui.play(u"click dialogButton"_s);
    waitFor("closed box", [&] { return !ui.property(u"customDialog"_s, "visible").toBool(); });
    ui.play(u"type ipInput 127.0.0.1"_s);

    scene.connectOverTcp();
    ui.play(u"page 1; click uprightButton"_s);
    scene.shoot(u"box-confirm"_s + language.suffix, scene.rectOf(u"podControlDrawer"_s));
    ui.play(u"click dialogCancelButton"_s);
    waitFor("closed box", [&] { return !ui.property(u"customDialog"_s, "visible").toBool(); });
    ui.play(u"page 0"_s);
    ask(
        "encoder", [&] { ui.play(u"click b7nQueryButton"_s); },
        [&] { return !ui.property(u"gatewaytext"_s, "text").toString().isEmpty(); });
    const QStringList names = {u"connection"_s, u"gimbal"_s,      u"functions"_s, u"sbus"_s,
                               u"joystick"_s,   u"positioning"_s, u"firmware"_s};
    for (int page = 0; page < names.size(); ++page) {
        ui.play(u"page %1"_s.arg(page));
        if (names.at(page) == u"sbus") {
            ask(
                "channels", [&] { ui.play(u"click sbusQueryButton"_s); },
                [&] { return ui.property(u"sbusChoice0"_s, "enabled").toBool(); });
        } else if (names.at(page) == u"positioning") {
            ui.play(u"click mapStartButton"_s);
        }
        scene.point(kNowhere);
        scene.shoot(u"page-%1-"_s.arg(page) + names.at(page) + language.suffix,
                    scene.rectOf(u"podControlDrawer"_s));
    }
}

} // namespace

int main(int argc, char *argv[])
{
    QGuiApplication app(argc, argv);
    const QStringList arguments = QGuiApplication::arguments();
    // The consoles change the working directory.
    const QDir folder(QDir().absoluteFilePath(arguments.value(1)));
    if (arguments.size() < 2 || !folder.exists())
        qFatal("usage: shoot FOLDER [what]");
    const QString what = arguments.value(2);
    const auto wanted = [&](QLatin1StringView name) { return what.isEmpty() || what == name; };
    UiHarness::prepare();
    if (what == "scaled"_L1) {
        shootScaled(folder);
        return 0;
    }
    using Once = std::pair<QLatin1StringView, void (*)(const QDir &)>;
    using InBoth = std::pair<QLatin1StringView, void (*)(const QDir &, const Language &)>;
    const auto once = {
        Once("window"_L1, shootWindow), {"states"_L1, shootStates}, {"drag"_L1, shootDrag}};
    const auto twice = {InBoth("menus"_L1, shootMenus),
                        {"drawer"_L1, shootDrawer},
                        {"upgrade"_L1, shootUpgrade},
                        {"keys"_L1, shootKeys},
                        {"recorder"_L1, shootRecorder}};
    for (const auto &[name, shoot] : once) {
        if (wanted(name))
            shoot(folder);
    }
    for (const Language &language : kLanguages) {
        for (const auto &[name, shoot] : twice) {
            if (wanted(name))
                shoot(folder, language);
        }
    }
    return 0;
}
