#include "OnlineUpgrade.h"

#include "SerialPortCommunicator.h"

#include <QDebug>

#include <utility>

OnlineUpgrade::OnlineUpgrade(QObject *parent)
    : QObject(parent)
{
}

OnlineUpgrade::~OnlineUpgrade()
{
    stop();
    // In this order, and before the rest of this object: the worker uses the port to its end.
    qDeleteAll(findChildren<QtSerialPortThread *>(Qt::FindDirectChildrenOnly));
}

void OnlineUpgrade::start()
{
    qDebug() << "begin update";
    const auto port = pod_port::find(m_environment.listPorts());
    if (!port) {
        qDebug() << "未找到目标设备";
        emit portMessage(QStringLiteral("错误：未找到目标设备，请检查设备是否连接"));
        return;
    }
    qDebug().noquote() << QStringLiteral("找到目标设备: %1 VID: 0x%2, PID: 0x%3")
                              .arg(port->name, pod_port::idText(*port->vendorId),
                                   pod_port::idText(*port->productId));
    emit portMessage(QStringLiteral("使用端口:") + port->name);
    stop();
    startWorker(port->name);
}

void OnlineUpgrade::startWorker(const QString &portName)
{
    m_port = new SerialPortCommunicator(portName, this);
    m_worker = new QtSerialPortThread(m_port, m_environment.worker, this);
    const int run = ++m_run;
    const auto tell = [this, run](const QString &text) {
        if (run == m_run)
            emit message(text);
    };
    connect(m_worker, &QtSerialPortThread::serialError, this, tell);
    connect(m_worker, &QtSerialPortThread::serialStatus, this, tell);
    connect(m_worker, &QtSerialPortThread::progressStatus, this, [this, run](int percent) {
        if (run == m_run)
            emit progress(percent);
    });
    connect(m_worker, &QtSerialPortThread::upgradeStarted, this, [this, run](bool started) {
        if (!started && run == m_run)
            stop();
    });
    m_worker->beginUpgrade();
    emit runningChanged();
}

void OnlineUpgrade::stop()
{
    ++m_run;
    if (!m_worker)
        return;
    m_worker->stop();
    m_port->close();
    // Later, since a slot of theirs may be what called.
    std::exchange(m_worker, nullptr)->deleteLater();
    std::exchange(m_port, nullptr)->deleteLater();
    emit runningChanged();
}
