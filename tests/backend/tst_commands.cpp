// Every command as the bytes that reach the pod, over a real TCP connection.

#include "CMain.h"
#include "LogCatcher.h"
#include "SignalLog.h"
#include "TcpPeer.h"
#include "protocol/CommandCatalogue.h"
#include "protocol/SettingFrames.h"

#include <QTest>

#include <climits>
#include <memory>
#include <set>

using namespace Qt::StringLiterals;

namespace {

struct IntCommand
{
    const char *name;
    std::vector<int> arguments;
    const char *bytes;
};

// Two arguments differ, so that a swap shows; one of them makes a sum wrap here and there.
const std::vector<IntCommand> kCatalogue = {
    {"stopMove", {}, "FF 01 00 00 00 00 01"},
    {"moveRight", {0x40}, "FF 01 00 02 40 00 43"},
    {"moveLeft", {0x40}, "FF 01 00 04 40 00 45"},
    {"moveUp", {0x40}, "FF 01 00 08 00 40 49"},
    {"moveDown", {0x40}, "FF 01 00 10 00 40 51"},
    {"moveRightUp", {0x11, 0xE2}, "FF 01 00 0A 11 E2 FE"},
    {"moveLeftUp", {0x11, 0xE2}, "FF 01 00 0C 11 E2 00"},
    {"moveRightDown", {0x11, 0xE2}, "FF 01 00 12 11 E2 06"},
    {"moveLeftDown", {0x11, 0xE2}, "FF 01 00 14 11 E2 08"},
    {"zoomOut", {0x40}, "FF 01 00 20 40 00 61"},
    {"zoomIn", {0x40}, "FF 01 00 40 40 00 81"},
    {"zoomStop", {}, "FF 01 00 60 00 00 61"},
    {"pointmoveto", {0x11, 0xE2}, "FF 01 10 00 11 E2 04"},
    {"pointtrack", {0x11, 0xE2}, "FF 01 11 00 11 E2 05"},
    {"pointtrackstop", {}, "FF 01 11 01 00 00 13"},
    {"targetCheckOpen", {}, "FF 01 11 02 00 00 14"},
    {"targetCheckClose", {}, "FF 01 11 03 00 00 15"},
    {"takePhoto", {}, "FF 01 12 00 00 00 13"},
    {"startRecord", {}, "FF 01 12 01 00 00 14"},
    {"stopRecord", {}, "FF 01 12 02 00 00 15"},
    {"modeYawFollow", {}, "FF 01 13 00 00 00 14"},
    {"modeYawLock", {}, "FF 01 13 01 00 00 15"},
    {"oneKeyDown", {}, "FF 01 13 02 00 00 16"},
    {"oneKeyCenter", {}, "FF 01 13 03 00 00 17"},
    {"yawCenterOnly", {}, "FF 01 13 04 00 00 18"},
    {"pitchDownOnly", {}, "FF 01 13 05 00 00 19"},
    {"modeFPV", {}, "FF 01 13 06 00 00 1A"},
    {"modeUpward", {}, "FF 01 13 07 00 00 1B"},
    {"modeDownward", {}, "FF 01 13 08 00 00 1C"},
    {"setHZH", {0x40}, "FF 01 14 00 40 00 55"},
    {"setWC", {0x40}, "FF 01 15 00 40 00 56"},
    {"continuousDistanceOpen", {}, "FF 01 16 01 00 00 18"},
    {"continuousDistanceClose", {}, "FF 01 16 02 00 00 19"},
    {"setRcxZoomTo", {0x40}, "FF 01 17 00 40 00 58"},
    {"osdOpen", {}, "FF 01 19 00 00 00 1A"},
    {"osdClose", {}, "FF 01 19 01 00 00 1B"},
    {"trackAutoZoomOpen", {}, "FF 01 1A 00 00 00 1B"},
    {"trackAutoZoomClose", {}, "FF 01 1A 01 00 00 1C"},
    {"laserLightOpen", {}, "FF 01 1B 00 00 00 1C"},
    {"laserLightClose", {}, "FF 01 1B 01 00 00 1D"},
    {"electronicZoomOpen", {}, "FF 01 1C 00 00 00 1D"},
    {"electronicZoomClose", {}, "FF 01 1C 01 00 00 1E"},
    {"clearFrogOpen", {}, "FF 01 1C 05 03 00 25"},
    {"clearFrogClose", {}, "FF 01 1C 06 00 00 23"},
    {"manualFocusOpen", {}, "FF 01 1D 00 00 00 1E"},
    {"manualFocusClose", {}, "FF 01 1D 01 00 00 1F"},
    {"manualFocusNear", {}, "FF 01 1D 02 00 00 20"},
    {"manualFocusFar", {}, "FF 01 1D 03 00 00 21"},
    {"manualFocusStop", {}, "FF 01 1D 04 00 00 22"},
    {"querySbusData", {}, "FF 01 1E 00 00 00 1F"},
    {"queryVersion", {}, "FF 01 1E 02 00 00 21"},
    {"setKjgZoomTo", {0x40}, "FF 01 1F 00 40 00 60"},
    {"setFrequency", {0x40}, "FF 01 20 00 40 00 61"},
    {"setProtocl", {0x40}, "FF 01 20 01 40 00 62"},
    {"rtspRecovery", {}, "FF 01 21 00 00 00 22"},
    {"queryB7N", {}, "FF 01 21 01 00 00 23"},
    {"gimbalSetOn", {}, "FF 01 22 00 00 00 23"},
    {"gimbalSetOff", {}, "FF 01 22 01 00 00 24"},
    {"gimbalSetReboot", {}, "FF 01 22 02 00 00 25"},
    {"setFrameSize", {0x40}, "FF 01 24 00 40 00 65"},
    {"adjust_left", {1}, "FF 01 27 00 00 01 29"},
    {"adjust_right", {1}, "FF 01 27 00 01 01 2A"},
    {"adjust_up", {1}, "FF 01 27 00 02 01 2B"},
    {"adjust_down", {1}, "FF 01 27 00 03 01 2C"},
    {"gimbalSetToPitchYaw", {-90, 0}, "EE 84 08 7C FC 00 00 F2"},
};

const std::vector<IntCommand> kEdges = {
    {"moveRightDown", {0xFF, 0xFF}, "FF 01 00 12 FF FF 11"},
    {"moveUp", {-1}, "FF 01 00 08 00 FF 08"},
    {"moveUp", {0x100}, "FF 01 00 08 00 00 09"},
    {"pointmoveto", {-1, 0x7FFFFF00}, "FF 01 10 00 FF 00 10"},
    {"adjust_left", {0}, "FF 01 27 00 00 00 28"},
    {"adjust_right", {2}, "FF 01 27 00 01 00 29"},
    {"adjust_up", {-1}, "FF 01 27 00 02 00 2A"},
    {"adjust_down", {257}, "FF 01 27 00 03 00 2B"},
    {"gimbalSetToPitchYaw", {0, 0}, "EE 84 08 00 00 00 00 7A"},
    {"gimbalSetToPitchYaw", {45, -180}, "EE 84 08 C2 01 F8 F8 2D"},
    {"gimbalSetToPitchYaw", {4000, -4000}, "EE 84 08 40 9C C0 63 79"},
    {"gimbalSetToPitchYaw", {INT_MAX, INT_MIN}, "EE 84 08 F6 FF 00 00 6F"},
};

const QByteArray kStopMove = QByteArray::fromHex("FF010000000001");

QString hex(const QByteArray &bytes) { return QString::fromLatin1(bytes.toHex(' ').toUpper()); }

QVariantList counting(int to)
{
    QVariantList list;
    for (int value = 1; value <= to; ++value)
        list.append(value);
    return list;
}

void call(CMain &backend, const IntCommand &command)
{
    const auto &[name, a, bytes] = command;
    QVERIFY(a.empty() ? QMetaObject::invokeMethod(&backend, name)
            : a.size() == 1
                ? QMetaObject::invokeMethod(&backend, name, Q_ARG(int, a[0]))
                : QMetaObject::invokeMethod(&backend, name, Q_ARG(int, a[0]), Q_ARG(int, a[1])));
}

} // namespace

class TestCommands : public QObject
{
    Q_OBJECT

private slots:
    void init();
    void intCommands_data();
    void intCommands();
    void listCommands_data();
    void listCommands();
    void setTimeSendsTheClock();
    void refusedWhileDisconnected();

private:
    /// Everything sent up to now: a stop follows it and shows that nothing else did.
    QString sent(qsizetype expectedLength);

    std::unique_ptr<TcpPeer> m_pod;
    std::unique_ptr<CMain> m_backend;
    std::unique_ptr<SignalLog> m_raised;
};

void TestCommands::init()
{
    m_pod = std::make_unique<TcpPeer>();
    m_backend = std::make_unique<CMain>();
    QVERIFY(m_backend->connectTCP(u"127.0.0.1"_s, m_pod->port()));
    QVERIFY(m_pod->accept());
    m_raised = std::make_unique<SignalLog>(*m_backend, CMain::staticMetaObject);
}

QString TestCommands::sent(qsizetype expectedLength)
{
    m_backend->stopMove();
    QByteArray bytes = m_pod->receive(expectedLength + kStopMove.size());
    if (!bytes.endsWith(kStopMove))
        return u"no stop at the end of "_s + hex(bytes);
    bytes.chop(kStopMove.size());
    return hex(bytes);
}

void TestCommands::intCommands_data()
{
    QTest::addColumn<IntCommand>("command");
    std::set<std::string_view> listed;
    for (const auto *table : {&kCatalogue, &kEdges}) {
        for (const IntCommand &command : *table) {
            QTest::addRow("%s %s", command.name, command.bytes) << command;
            listed.insert(command.name);
        }
    }
    for (const protocol::CommandSpec &row : protocol::commandCatalogue())
        QVERIFY2(listed.contains(row.name), row.name.data());
}

void TestCommands::intCommands()
{
    QFETCH(IntCommand, command);
    const QString expected = QString::fromLatin1(command.bytes);
    const LogCatcher log;
    call(*m_backend, command);
    QVERIFY(log.contains(u"TCP发送: \"%1\""_s.arg(expected)));
    QCOMPARE(sent((expected.size() + 1) / 3), expected);
    QCOMPARE(m_raised->take(), QString());
}

void TestCommands::listCommands_data()
{
    QTest::addColumn<QByteArray>("name");
    QTest::addColumn<QVariantList>("list");
    QTest::addColumn<QString>("bytes"); // empty: refused
    const QString sbus =
        u"EE 82 1C 01 02 03 04 05 06 07 08 09 0A 0B 0C 0D 0E 0F 10 11 12 13 14 15 16 17 18 B8"_s;
    const QVariantList odd =
        QVariantList({256, -1, u"none"_s, u"7"_s, 2.4}) + QVariantList(19, QVariant());
    const QString b7n = u"EE 87 0F 01 02 03 04 05 06 07 08 09 0A 0B C6"_s;
    QTest::newRow("sbus") << "setSbus"_ba << counting(24) << sbus;
    QTest::newRow("sbus, more than needed") << "setSbus"_ba << counting(40) << sbus;
    QTest::newRow("sbus, odd elements")
        << "setSbus"_ba << odd
        << u"EE 82 1C 00 FF 00 07 02 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 94"_s;
    QTest::newRow("sbus, one missing") << "setSbus"_ba << counting(23) << QString();
    QTest::newRow("b7n") << "setB7N"_ba << counting(11) << b7n;
    QTest::newRow("b7n, more than needed") << "setB7N"_ba << counting(12) << b7n;
    QTest::newRow("b7n, one missing") << "setB7N"_ba << counting(10) << QString();
    QTest::newRow("b7n, none") << "setB7N"_ba << QVariantList() << QString();
}

void TestCommands::listCommands()
{
    QFETCH(QByteArray, name);
    QFETCH(QVariantList, list);
    QFETCH(QString, bytes);
    QVERIFY(QMetaObject::invokeMethod(m_backend.get(), name, Q_ARG(QVariantList, list)));
    QCOMPARE(sent((bytes.size() + 1) / 3), bytes);
    const QString refusal = u"sbusDataError(数据长度不足，需要%1项，实际%2项)"_s;
    QCOMPARE(m_raised->take(), bytes.isEmpty()
                                   ? refusal.arg(name == "setSbus" ? 24 : 11).arg(list.size())
                                   : QString());
}

void TestCommands::setTimeSendsTheClock()
{
    const auto frameAt = [](const QDateTime &time) { return hex(protocol::buildSetTime(time)); };
    QCOMPARE(frameAt({{2024, 3, 5}, {14, 7, 9}}), u"EE 83 0A 18 03 05 0E 07 09 B9"_s);
    QCOMPARE(frameAt({{2099, 12, 31}, {23, 59, 59}}), u"EE 83 0A 63 0C 1F 17 3B 3B 96"_s);

    const QDateTime before = QDateTime::currentDateTime();
    m_backend->setTime();
    const QString frame = sent(10);
    QStringList possible;
    for (QDateTime at = before; at <= QDateTime::currentDateTime().addSecs(1); at = at.addSecs(1))
        possible.append(frameAt(at));
    QVERIFY2(possible.contains(frame), qPrintable(frame));
}

void TestCommands::refusedWhileDisconnected()
{
    m_backend->disconnect();
    m_raised->take();
    for (const IntCommand &command : kCatalogue)
        call(*m_backend, command);
    m_backend->setTime();
    m_backend->setSbus(counting(24));
    m_backend->setB7N(counting(11));
    const auto calls = qsizetype(kCatalogue.size()) + 3;
    const QString refusal = u"sbusDataError(未连接，无法发送数据) "_s;
    QCOMPARE(m_raised->take() + u' ', refusal.repeated(calls));
}

QTEST_GUILESS_MAIN(TestCommands)
#include "tst_commands.moc"
