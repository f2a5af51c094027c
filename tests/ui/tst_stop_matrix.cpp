#include "UiHarness.h"
#include "VirtualStick.h"
#include "motion/MotionTable.h"
#include "protocol/ShortFrame.h"

#include <QRegularExpression>
#include <QTest>

#include <algorithm>
#include <functional>
#include <memory>

using namespace Qt::StringLiterals;

namespace {

constexpr int kWaitMs = VirtualStick::kWaitMs;
constexpr int kQuietMs = 2 * input::JoystickMapping::kCommandIntervalMs;
const QByteArray kSettings = "[RTSP]\nrtspIp=\n[Joystick]\naxisXFunction=yaw\naxisZFunction=zoom\n"
                             "axisRFunction=focus\n";

/// A way to set the pod in motion, what still comes of it while it is held, and how it is let go
/// of. What is held by the same hand cannot be held at the same time.
struct Start
{
    const char *name;
    motion::Kind kind;
    const char *hand;
    const char *begin;
    const char *goOn;
    const char *letGo;
    int stops = 1;
    bool isPaired = true; // with the other sources
};

constexpr auto kStarts = std::to_array<Start>({
    {"key W", motion::Kind::Move, "keys", "down W", "repeat W", "up W"},
    {"key E", motion::Kind::Zoom, "keys", "down E", "repeat E", "up E"},
    // Once more soon after its release
    {"drag", motion::Kind::Move, "pointer", "drag 80 0", "dragto 80 80", "drop 80 80", 2},
    {"wheel", motion::Kind::Zoom, "pointer", "wheel 120", "", ""},
    {"zoom entry", motion::Kind::Zoom, "pointer", "menu zoomButton zoomMenu; press mouseIn", "",
     "release mouseIn"},
    {"focus button", motion::Kind::Focus, "pointer", "backend isManualFocus 1; press plusButton",
     "", "release plusButton"},
    {"Space on zoom entry", motion::Kind::Zoom, "keys",
     "go zoomButton; tap Return; see zoomMenu opened true; down Space", "repeat Space", "up Space",
     1, false},
    {"Enter on focus button", motion::Kind::Focus, "keys",
     "backend isManualFocus 1; go plusButton; down Return", "repeat Return", "up Return", 1, false},
    {"stick, yaw", motion::Kind::Move, "stick", "stick 0 1", "stick 0 0.7", "stick 0 0"},
    {"stick, zoom", motion::Kind::Zoom, "stick", "stick 2 1", "stick 2 0.7", "stick 2 0"},
    {"stick, focus", motion::Kind::Focus, "stick", "stick 3 1", "stick 3 0.7", "stick 3 0"},
});

/// What ends a motion, or comes between it and its release; before a new link, "forget" what went
/// over the old one.
struct End
{
    const char *name;
    const char *steps;
    const char *hand = ""; // of those alone that are held by this one
};

constexpr auto kEnds = std::to_array<End>({
    {"release", ""},
    {"window left", "deactivate; activate"},
    {"window minimised", "minimise"},
    {"window closed", "close"},
    {"quit", "quit"},
    {"message box", "set customDialog visible 1"},
    {"drawer", "set podControlDrawer visible 1"},
    {"focus taken", "set videoRenderer focus 0", "keys"},
    {"menu closed", "set zoomMenu visible 0", "pointer"},
    {"control hidden", "set mouseIn visible 0; set mouseIn visible 1; backend isManualFocus 0",
     "pointer"},
    {"pointer moved away", "dragto -300 -150", "pointer"},
    {"pointer taken", "ungrab", "pointer"},
    {"stick pulled out", "unplug", "stick"},
    {"link lost", "cut; forget; connect"},
    {"link closed", "reset; forget; connect"},
    {"link closed, another pod between", "reset; elsewhere; reset; forget; connect"},
});

QString textOf(QByteArrayView bytes) { return QString::fromLatin1(bytes); }

/// The command's four bytes, its arguments zero, as PodSocket tells them.
QString frameOf(const motion::NamedCommand &command)
{
    return textOf(protocol::buildCommand(command.command).mid(2, 4).toHex(' '));
}

QString stopOf(motion::Kind kind) { return frameOf(motion::motionOf(kind).stop); }

} // namespace

/// Every way to start a motion, with every way to end it and beside every other way to start the
/// same: whatever happens, the pod gets the stop after the last start, and no more starts than the
/// operator asked for. From the real window to a recording peer.
class TestStopMatrix : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void init();
    void everyEndStops_data();
    void everyEndStops();
    void theOtherSourceGoesOn_data();
    void theOtherSourceGoesOn();
    void cleanup();
    void cleanupTestCase();

private:
    void awaitLook() { m_stick.awaitLook(m_ui->window()->findChild<JoystickInput *>()); }
    void play(const QString &steps);
    /// What the pod received of this kind; other kinds may have debts of earlier rows.
    QStringList frames(motion::Kind kind) const;
    bool moves(motion::Kind kind) const
    {
        const QStringList received = frames(kind);
        return !received.isEmpty() && received.last() != stopOf(kind);
    }
    /// Until nothing more is due.
    void settle(motion::Kind kind)
    {
        QTRY_VERIFY_WITH_TIMEOUT(!frames(kind).isEmpty() && !moves(kind), kWaitMs);
        play(u"see stopTimer running false; see wheelStopTimer running false; "
             "see moveTimer running false"_s);
        QTest::qWait(kQuietMs);
    }

    std::unique_ptr<UiHarness> m_ui;
    VirtualStick m_stick;
};

void TestStopMatrix::initTestCase()
{
    if (!VirtualStick::prepare())
        QSKIP("There is a real joystick, or SDL reads none");
    UiHarness::prepare();
}

void TestStopMatrix::cleanupTestCase()
{
    m_ui.reset();
    m_stick.pullOut();
    VirtualStick::end();
}

void TestStopMatrix::init()
{
    UiHarness::failOnAnyWarning();
    if (!m_ui)
        m_ui = std::make_unique<UiHarness>(kSettings);
    m_ui->window()->showNormal();
    m_ui->activate();
    // A menu has its entries from its first opening on.
    m_ui->play(u"set customDialog visible 0; set zoomMenu visible 1; set zoomMenu visible 0; "
               "set podControlDrawer visible 0; backend isManualFocus 0; set videoRenderer focus "
               "1; see videoRenderer activeFocus true"_s);
    if (!m_stick.isPluggedIn())
        m_stick.plugIn();
    awaitLook();
    if (!m_ui->backend().isConnected())
        QVERIFY(m_ui->connectPod());
    m_ui->pod().take();
}

void TestStopMatrix::cleanup()
{
    // A program that was to quit, or did not do as it should, is not flown on with.
    if (QTest::currentTestFailed() || textOf(QTest::currentDataTag()).endsWith(u"quit"))
        m_ui.reset();
    m_stick.centre();
}

QStringList TestStopMatrix::frames(motion::Kind kind) const
{
    const motion::Motion &motion = motion::motionOf(kind);
    const auto isOfKind = [&motion](const QString &frame) {
        const auto begins = [&frame](const motion::NamedCommand &command) {
            return frame.startsWith(frameOf(command).first(5));
        };
        return begins(motion.stop) || std::ranges::any_of(motion.starts, begins);
    };
    QStringList received = m_ui->pod().frames();
    received.removeIf(std::not_fn(isOfKind));
    return received;
}

void TestStopMatrix::play(const QString &steps)
{
    for (const QString &step : steps.split(u"; "_s, Qt::SkipEmptyParts)) {
        const QStringList words = step.split(u' ');
        if (words[0] == "stick"_L1) {
            m_stick.setAxis(words[1].toInt(), words[2].toDouble());
            awaitLook();
        } else if (words[0] == "unplug"_L1) {
            m_stick.pullOut();
        } else if (words[0] == "forget"_L1) {
            m_ui->pod().take();
        } else if (words[0] == "reset"_L1) {
            m_ui->backend().resetConnection();
        } else if (words[0] == "elsewhere"_L1) {
            PodSocket other;
            QVERIFY(m_ui->backend().connectTCP(u"127.0.0.1"_s, other.port()));
            m_ui->backend().takePhoto();
            QCOMPARE(other.next(1), u"12 00 00 00"_s); // it owes nothing to this one
        } else {
            m_ui->play(step);
        }
    }
}

void TestStopMatrix::everyEndStops_data()
{
    QTest::addColumn<Start>("start");
    QTest::addColumn<End>("end");
    for (const Start &start : kStarts) {
        for (const End &end : kEnds) {
            if (*end.hand == '\0' || textOf(end.hand) == textOf(start.hand))
                QTest::addRow("%s, %s", start.name, end.name) << start << end;
        }
    }
}

void TestStopMatrix::everyEndStops()
{
    QFETCH(Start, start);
    QFETCH(End, end);
    const QString stop = stopOf(start.kind);
    play(textOf(start.begin));
    QTRY_VERIFY_WITH_TIMEOUT(moves(start.kind), kWaitMs);
    play(textOf(end.steps));
    if (m_stick.isPluggedIn() || textOf(start.hand) != "stick"_L1) {
        play(textOf(start.goOn));
        if (textOf(start.hand) == "stick"_L1)
            QTest::qWait(kQuietMs); // it would start again with its next command
        play(textOf(start.letGo));
    }
    settle(start.kind);
    const QStringList received = frames(start.kind);
    const qsizetype first = received.indexOf(stop);
    // No start after it
    QCOMPARE(received.mid(first), QStringList(received.size() - first, stop));
    if (textOf(end.steps).contains(u"forget"))
        QCOMPARE(first, 0); // before all else on the new link
    else
        QCOMPARE(received.size() - first, start.stops);
}

void TestStopMatrix::theOtherSourceGoesOn_data()
{
    QTest::addColumn<Start>("first");
    QTest::addColumn<Start>("second");
    for (const Start &first : kStarts) {
        for (const Start &second : kStarts) {
            // The wheel is let go of by itself.
            if (first.isPaired && second.isPaired && first.kind == second.kind
                && textOf(first.hand) != textOf(second.hand) && textOf(first.name) != "wheel"_L1)
                QTest::addRow("%s, then %s", first.name, second.name) << first << second;
        }
    }
}

void TestStopMatrix::theOtherSourceGoesOn()
{
    QFETCH(Start, first);
    QFETCH(Start, second);
    const QString stop = stopOf(first.kind);
    play(textOf(first.begin));
    QTRY_VERIFY_WITH_TIMEOUT(moves(first.kind), kWaitMs);
    const QString start = frames(first.kind).constFirst();
    play(textOf(second.begin));
    play(textOf(second.letGo));
    QTRY_VERIFY_WITH_TIMEOUT(frames(first.kind).count(stop) == second.stops && moves(first.kind),
                             kWaitMs);
    QCOMPARE(frames(first.kind).constLast(), start);
    play(textOf(first.letGo));
    settle(first.kind);
    QCOMPARE(frames(first.kind).count(stop), first.stops + second.stops);
    QCOMPARE(frames(first.kind).constLast(), stop);
}

QTEST_MAIN(TestStopMatrix)
#include "tst_stop_matrix.moc"
