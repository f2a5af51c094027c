// The wrapper of the bootloader's serial port, on a pseudo terminal.

#include "PtyPair.h"
#include "firmware/online/SerialPortCommunicator.h"

#include <QElapsedTimer>
#include <QSignalSpy>
#include <QTest>
#include <QThread>

#include <atomic>
#include <utility>

using namespace Qt::StringLiterals;
using Port = SerialPortCommunicator;
using Status = Port::SerialStatus;

namespace {

constexpr int kWaitMs = 10000;

/// A port on a pseudo terminal or on `path`.
struct Line
{
    explicit Line(const QString &path = {})
        : port(path.isEmpty() ? pty.slavePath() : path)
    {
        const auto note = [this](const QString &text) { return [=, this] { states += text; }; };
        QObject::connect(&port, &Port::opened, &port, note(u"opened"_s));
        QObject::connect(&port, &Port::closed, &port, note(u"closed"_s));
        QObject::connect(&port, &Port::connectionError, &port, note(u"connectionError"_s));
        QObject::connect(&port, &Port::statusChanged, &port,
                         [this](Status status) { states += QString::number(int(status)); });
        QObject::connect(&port, &Port::errorOccurred, &port,
                         [this](QSerialPort::SerialPortError error) { errors.append(error); });
    }

    /// Names of the state signals in the order of their coming; forgets them.
    QString take() { return std::exchange(states, {}).join(u' '); }

    PtyPair pty;
    Port port;
    QStringList states;
    QList<QSerialPort::SerialPortError> errors;
};

} // namespace

class TestSerialCommunicator : public QObject
{
    Q_OBJECT

private slots:
    void opensClosesAndRestarts();
    void openFailure();
    void movesAndCountsBytes();
    void severeErrorsChangeTheStatus();
    void vanishedDeviceIsToldOnce();
    void reopensAfterAnError();
    void breakDoesNotBlock();
    void slotsMayCallAnything();
};

void TestSerialCommunicator::opensClosesAndRestarts()
{
    Line line;
    QVERIFY(line.port.open());
    QCOMPARE(line.take(), u"opened 2"_s);
    QVERIFY(!line.port.open()); // it is already
    QVERIFY(line.port.isOpen());
    line.port.close();
    line.port.close();
    QCOMPARE(line.take(), u"closed 0"_s);

    QVERIFY(line.port.open());
    line.take();
    QElapsedTimer clock;
    clock.start();
    line.port.restart();
    QCOMPARE(line.take(), u"closed 0"_s);
    QTRY_VERIFY_WITH_TIMEOUT(line.port.isOpen(), kWaitMs);
    QVERIFY(clock.elapsed() >= Port::kRestartPauseMs - 10);
    QCOMPARE(line.take(), u"opened 2"_s);
    line.port.restart();
    line.port.close();
    QTest::qWait(3 * Port::kRestartPauseMs); // in which nothing may happen
    QCOMPARE(line.take(), u"closed 0"_s);
}

void TestSerialCommunicator::openFailure()
{
    for (const auto &[autoReconnect, intervalMs] : {std::pair(false, 10), {true, 0}, {true, 10}}) {
        Line line(u"/nonexistent/tty"_s);
        QVERIFY(
            !line.port.open({.autoReconnect = autoReconnect, .reconnectIntervalMs = intervalMs}));
        QCOMPARE(line.take(), u"connectionError 3"_s);
        QVERIFY(!line.port.errorString().isEmpty());
        const auto triesAgain = [&] { return line.take() == u"connectionError 3"_s; };
        QCOMPARE(QTest::qWaitFor(triesAgain, autoReconnect && intervalMs > 0 ? kWaitMs : 100),
                 autoReconnect && intervalMs > 0);
    }
}

void TestSerialCommunicator::movesAndCountsBytes()
{
    Line line;
    QSignalSpy received(&line.port, &Port::dataReceived);
    QSignalSpy written(&line.port, &Port::dataWritten);
    QVERIFY(line.port.open());
    line.pty.send("~0\r");
    QTRY_COMPARE_WITH_TIMEOUT(received.size(), 1, kWaitMs);
    QCOMPARE(received.at(0).at(0).toByteArray(), "~0\r");
    QCOMPARE(line.port.write("#00\r"), 4);
    line.port.flush();
    QTRY_COMPARE_WITH_TIMEOUT(written.size(), 1, kWaitMs);
    QTRY_COMPARE_WITH_TIMEOUT(line.pty.received(), "#00\r", kWaitMs);

    const auto counted = line.port.statistics();
    QCOMPARE(QList({counted.bytesReceived, counted.readEvents, counted.bytesWritten,
                    counted.writeEvents, counted.errors}),
             QList<qint64>({3, 1, 4, 1, 0}));
}

void TestSerialCommunicator::severeErrorsChangeTheStatus()
{
    using enum QSerialPort::SerialPortError;
    for (const auto error : {NoError, ReadError, WriteError, TimeoutError, DeviceNotFoundError,
                             PermissionError, ResourceError}) {
        const bool severe =
            error == DeviceNotFoundError || error == PermissionError || error == ResourceError;
        Line line;
        QVERIFY(line.port.open());
        line.take();
        line.port.onErrorOccurred(error);
        QCOMPARE(line.port.statistics().errors, error == NoError ? 0 : 1);
        QCOMPARE(line.take(), severe ? u"connectionError 3"_s : u""_s);
        QCOMPARE(line.port.status(), severe ? Status::Error : Status::Open);
    }
}

void TestSerialCommunicator::vanishedDeviceIsToldOnce()
{
    for (const bool noticedByWriting : {false, true}) {
        Line line;
        QVERIFY(line.port.open());
        line.errors.clear(); // opening tells that there is none
        line.pty.unplug();
        if (noticedByWriting) {
            line.port.write("x");
            line.port.flush();
        }
        QTRY_VERIFY_WITH_TIMEOUT(!line.errors.isEmpty(), kWaitMs);
        QTest::qWait(50); // in which nothing more may come
        QCOMPARE(line.errors, QList{QSerialPort::ResourceError});
        QVERIFY(!line.port.isOpen());
        QVERIFY(!QStringList({{}, u"Unknown error"_s}).contains(line.port.errorString()));
    }
}

void TestSerialCommunicator::reopensAfterAnError()
{
    Line line;
    QVERIFY(line.port.open({.autoReconnect = true, .reconnectIntervalMs = 10}));
    line.take();
    line.port.onErrorOccurred(QSerialPort::ResourceError);
    QTRY_COMPARE_WITH_TIMEOUT(line.port.status(), Status::Open, kWaitMs);
    QCOMPARE(line.take(), u"connectionError 3 opened 2"_s);
    QSignalSpy received(&line.port, &Port::dataReceived);
    line.pty.send("x");
    QTRY_COMPARE_WITH_TIMEOUT(received.size(), 1, kWaitMs);
}

void TestSerialCommunicator::breakDoesNotBlock()
{
    Line line;
    line.port.sendBreak(60000); // closed: nothing happens, and so with the rest
    line.port.flush();
    line.port.clearBuffers();
    QCOMPARE(line.port.write("x"), -1);
    QVERIFY(line.errors.isEmpty());
    QVERIFY(line.port.open());
    QElapsedTimer clock;
    clock.start();
    line.port.sendBreak(60000);
    QVERIFY(clock.elapsed() < 30000);
    line.port.close(); // with the break outstanding
    QVERIFY(!line.port.isOpen());
}

void TestSerialCommunicator::slotsMayCallAnything()
{
    Line line;
    QObject elsewhere;
    QThread thread;
    elsewhere.moveToThread(&thread);
    std::atomic<qint64> seen = -1;
    // The emitter waits for the other thread, which waits for the port's lock.
    QObject::connect(
        &line.port, &Port::dataReceived, &elsewhere,
        [&] { seen = line.port.statistics().bytesReceived; }, Qt::BlockingQueuedConnection);
    thread.start();
    QVERIFY(line.port.open());
    line.pty.send("abc");
    QTRY_COMPARE_WITH_TIMEOUT(seen.load(), 3, kWaitMs);
    thread.quit();
    thread.wait();
    line.port.close();

    // The slot's own doings are told after what it reacts to.
    line.take();
    QObject::connect(&line.port, &Port::opened, &line.port, [&] { line.port.close(); });
    QVERIFY(line.port.open());
    QCOMPARE(line.take(), u"opened 2 closed 0"_s);
    QVERIFY(!line.port.isOpen());
}

QTEST_GUILESS_MAIN(TestSerialCommunicator)
#include "tst_serial_communicator.moc"
