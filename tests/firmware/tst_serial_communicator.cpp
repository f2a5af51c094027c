// The wrapper of the bootloader's serial port, on a pseudo terminal.

#include "LogCatcher.h"
#include "PtyPair.h"
#include "firmware/online/SerialPortCommunicator.h"

#include <QElapsedTimer>
#include <QSignalSpy>
#include <QTest>
#include <QThread>

#include <atomic>
#include <utility>

using namespace Qt::StringLiterals;
using Status = SerialPortCommunicator::SerialStatus;

namespace {

constexpr int kWaitMs = 10000;

/// Names of the state signals in the order of their coming.
class StateLog
{
public:
    explicit StateLog(SerialPortCommunicator &port)
    {
        using Port = SerialPortCommunicator;
        QObject::connect(&port, &Port::opened, &port, [this] { m_words.append(u"opened"_s); });
        QObject::connect(&port, &Port::closed, &port, [this] { m_words.append(u"closed"_s); });
        QObject::connect(&port, &Port::connectionError, &port,
                         [this] { m_words.append(u"connectionError"_s); });
        QObject::connect(&port, &Port::statusChanged, &port, [this](Status status) {
            m_words.append(QString::number(static_cast<int>(status)));
        });
    }

    QString take() { return std::exchange(m_words, {}).join(u' '); }

private:
    QStringList m_words;
};

} // namespace

class TestSerialCommunicator : public QObject
{
    Q_OBJECT

private slots:
    void opensAndCloses();
    void secondOpenIsRefused();
    void openFailure_data();
    void openFailure();
    void movesAndCountsBytes();
    void severeErrorsChangeTheStatus_data();
    void severeErrorsChangeTheStatus();
    void vanishedDeviceIsToldOnce_data();
    void vanishedDeviceIsToldOnce();
    void reopensAfterAnError();
    void restartReopensLater();
    void closeCallsARestartOff();
    void breakDoesNotBlock();
    void slotsMayCallAnything();
    void slotsOfAnotherThreadMayCallAnything();
    void closedPortTakesNothing();
};

void TestSerialCommunicator::opensAndCloses()
{
    const LogCatcher log;
    PtyPair pty;
    SerialPortCommunicator port(pty.slavePath());
    StateLog states(port);
    QVERIFY(port.activityTimes().opened.isValid());
    QCOMPARE(port.status(), Status::Closed);
    QVERIFY(port.open());
    QVERIFY(port.isOpen());
    QCOMPARE(states.take(), u"opened 2"_s);
    port.close();
    QVERIFY(!port.isOpen());
    QCOMPARE(states.take(), u"closed 0"_s);
    port.close();
    QCOMPARE(states.take(), u""_s);
    QVERIFY(log.contains(u"opened successfully"_s));
}

void TestSerialCommunicator::secondOpenIsRefused()
{
    const LogCatcher log;
    PtyPair pty;
    SerialPortCommunicator port(pty.slavePath());
    QVERIFY(port.open());
    StateLog states(port);
    QVERIFY(!port.open());
    QVERIFY(log.contains(u"is already open or connecting"_s));
    QVERIFY(port.isOpen());
    QCOMPARE(states.take(), u""_s);
}

void TestSerialCommunicator::openFailure_data()
{
    QTest::addColumn<bool>("autoReconnect");
    QTest::addColumn<int>("intervalMs");
    QTest::addColumn<bool>("triesAgain");
    QTest::newRow("default") << false << 10 << false;
    QTest::newRow("reconnecting") << true << 10 << true;
    QTest::newRow("no interval") << true << 0 << false;
}

void TestSerialCommunicator::openFailure()
{
    QFETCH(const bool, autoReconnect);
    QFETCH(const int, intervalMs);
    QFETCH(const bool, triesAgain);
    const LogCatcher log;
    SerialPortCommunicator port(u"/nonexistent/tty"_s);
    StateLog states(port);
    SerialPortCommunicator::PortSettings settings;
    settings.autoReconnect = autoReconnect;
    settings.reconnectIntervalMs = intervalMs;
    QVERIFY(!port.open(settings));
    QCOMPARE(states.take(), u"connectionError 3"_s);
    QVERIFY(!port.errorString().isEmpty());
    if (triesAgain)
        QTRY_VERIFY_WITH_TIMEOUT(log.contains(u"Attempting to reconnect serial port:"_s), kWaitMs);
    else
        QTest::qWait(100); // in which nothing may happen
    QCOMPARE(log.contains(u"Attempting to reconnect serial port:"_s), triesAgain);
}

void TestSerialCommunicator::movesAndCountsBytes()
{
    PtyPair pty;
    SerialPortCommunicator port(pty.slavePath());
    QSignalSpy received(&port, &SerialPortCommunicator::dataReceived);
    QSignalSpy written(&port, &SerialPortCommunicator::dataWritten);
    QVERIFY(port.open());
    pty.send("~0\r");
    QTRY_COMPARE_WITH_TIMEOUT(received.size(), 1, kWaitMs);
    QCOMPARE(received.at(0).at(0).toByteArray(), "~0\r");
    QCOMPARE(port.write("#00\r"), 4);
    port.flush();
    QTRY_COMPARE_WITH_TIMEOUT(written.size(), 1, kWaitMs);
    QTRY_COMPARE_WITH_TIMEOUT(pty.received(), "#00\r", kWaitMs);

    const auto statistics = port.statistics();
    QCOMPARE(statistics.bytesReceived, 3);
    QCOMPARE(statistics.readEvents, 1);
    QCOMPARE(statistics.bytesWritten, 4);
    QCOMPARE(statistics.writeEvents, 1);
    QCOMPARE(statistics.errors, 0);
    QVERIFY(port.activityTimes().read.isValid());
    QVERIFY(port.activityTimes().written.isValid());
}

void TestSerialCommunicator::severeErrorsChangeTheStatus_data()
{
    QTest::addColumn<QSerialPort::SerialPortError>("error");
    QTest::addColumn<int>("errors");
    QTest::addColumn<bool>("severe");
    QTest::newRow("none") << QSerialPort::NoError << 0 << false;
    QTest::newRow("read") << QSerialPort::ReadError << 1 << false;
    QTest::newRow("write") << QSerialPort::WriteError << 1 << false;
    QTest::newRow("time-out") << QSerialPort::TimeoutError << 1 << false;
    QTest::newRow("not found") << QSerialPort::DeviceNotFoundError << 1 << true;
    QTest::newRow("permission") << QSerialPort::PermissionError << 1 << true;
    QTest::newRow("resource") << QSerialPort::ResourceError << 1 << true;
}

void TestSerialCommunicator::severeErrorsChangeTheStatus()
{
    QFETCH(const QSerialPort::SerialPortError, error);
    QFETCH(const bool, severe);
    const LogCatcher log;
    PtyPair pty;
    SerialPortCommunicator port(pty.slavePath());
    QVERIFY(port.open());
    StateLog states(port);
    port.onErrorOccurred(error);
    QTEST(int(port.statistics().errors), "errors");
    QCOMPARE(states.take(), severe ? u"connectionError 3"_s : u""_s);
    QCOMPARE(port.status(), severe ? Status::Error : Status::Open);
    QCOMPARE(log.contains(u"Serial port error:"_s), error != QSerialPort::NoError);
}

void TestSerialCommunicator::vanishedDeviceIsToldOnce_data()
{
    QTest::addColumn<bool>("writing");
    QTest::newRow("noticed by reading") << false;
    QTest::newRow("noticed by writing") << true;
}

void TestSerialCommunicator::vanishedDeviceIsToldOnce()
{
    QFETCH(const bool, writing);
    PtyPair pty;
    SerialPortCommunicator port(pty.slavePath());
    QVERIFY(port.open());
    QList<QSerialPort::SerialPortError> errors;
    QObject::connect(&port, &SerialPortCommunicator::errorOccurred, &port,
                     [&](QSerialPort::SerialPortError error) { errors.append(error); });
    pty.unplug();
    if (writing) {
        port.write("x");
        port.flush();
    }
    QTRY_VERIFY_WITH_TIMEOUT(!errors.isEmpty(), kWaitMs);
    QTest::qWait(50); // in which nothing more may come
    QCOMPARE(errors, QList{QSerialPort::ResourceError});
    QVERIFY(!port.isOpen());
    QVERIFY(!port.errorString().isEmpty());
    QVERIFY(port.errorString() != u"Unknown error"_s);
}

void TestSerialCommunicator::reopensAfterAnError()
{
    PtyPair pty;
    SerialPortCommunicator port(pty.slavePath());
    SerialPortCommunicator::PortSettings settings;
    settings.autoReconnect = true;
    settings.reconnectIntervalMs = 10;
    QVERIFY(port.open(settings));
    StateLog states(port);
    port.onErrorOccurred(QSerialPort::ResourceError);
    QTRY_COMPARE_WITH_TIMEOUT(port.status(), Status::Open, kWaitMs);
    QCOMPARE(states.take(), u"connectionError 3 opened 2"_s);
    QSignalSpy received(&port, &SerialPortCommunicator::dataReceived);
    pty.send("x");
    QTRY_COMPARE_WITH_TIMEOUT(received.size(), 1, kWaitMs);
}

void TestSerialCommunicator::restartReopensLater()
{
    PtyPair pty;
    SerialPortCommunicator port(pty.slavePath());
    QVERIFY(port.open());
    StateLog states(port);
    QElapsedTimer clock;
    clock.start();
    port.restart();
    QVERIFY(!port.isOpen());
    QCOMPARE(states.take(), u"closed 0"_s);
    QTRY_VERIFY_WITH_TIMEOUT(port.isOpen(), kWaitMs);
    QVERIFY(clock.elapsed() >= SerialPortCommunicator::kRestartPauseMs - 10);
    QCOMPARE(states.take(), u"opened 2"_s);
}

void TestSerialCommunicator::closeCallsARestartOff()
{
    PtyPair pty;
    SerialPortCommunicator port(pty.slavePath());
    QVERIFY(port.open());
    port.restart();
    port.close();
    QTest::qWait(3 * SerialPortCommunicator::kRestartPauseMs); // in which nothing may happen
    QVERIFY(!port.isOpen());
}

void TestSerialCommunicator::breakDoesNotBlock()
{
    PtyPair pty;
    SerialPortCommunicator port(pty.slavePath());
    port.sendBreak(60000); // closed: nothing happens
    QVERIFY(port.open());
    QElapsedTimer clock;
    clock.start();
    port.sendBreak(60000);
    QVERIFY(clock.elapsed() < 30000);
    port.close(); // with the break outstanding
    QVERIFY(!port.isOpen());
}

void TestSerialCommunicator::slotsMayCallAnything()
{
    PtyPair pty;
    SerialPortCommunicator port(pty.slavePath());
    StateLog states(port);
    QObject::connect(&port, &SerialPortCommunicator::opened, &port, [&] {
        QVERIFY(port.isOpen());
        port.close();
    });
    // The slot's own doings are told after what it reacts to.
    QVERIFY(port.open());
    QCOMPARE(states.take(), u"opened 2 closed 0"_s);
    QVERIFY(!port.isOpen());
}

void TestSerialCommunicator::slotsOfAnotherThreadMayCallAnything()
{
    PtyPair pty;
    SerialPortCommunicator port(pty.slavePath());
    QObject elsewhere;
    QThread thread;
    elsewhere.moveToThread(&thread);
    std::atomic<qint64> seen = -1;
    // The emitter waits for the other thread, which waits for the port's lock.
    QObject::connect(
        &port, &SerialPortCommunicator::dataReceived, &elsewhere,
        [&] { seen = port.statistics().bytesReceived; }, Qt::BlockingQueuedConnection);
    thread.start();
    QVERIFY(port.open());
    pty.send("abc");
    QTRY_COMPARE_WITH_TIMEOUT(seen.load(), 3, kWaitMs);
    thread.quit();
    thread.wait();
}

void TestSerialCommunicator::closedPortTakesNothing()
{
    SerialPortCommunicator port(u"/nonexistent/tty"_s);
    QSignalSpy errors(&port, &SerialPortCommunicator::errorOccurred);
    QCOMPARE(port.write("x"), -1);
    port.flush();
    port.clearBuffers();
    port.sendBreak();
    QCOMPARE(errors.size(), 0);
}

QTEST_GUILESS_MAIN(TestSerialCommunicator)
#include "tst_serial_communicator.moc"
