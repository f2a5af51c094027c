#pragma once

#include "PodPortFinder.h"
#include "QtSerialPortThread.h"

#include <QObject>

/// The server-assisted upgrade as the backend sees it: start() looks for the pod's port and starts
/// a worker on it, stop() takes it down. At most one upgrade is under way; a new one ends the one
/// before. Once ended, an upgrade tells nothing more, not even what its thread had already queued.
/// Everything may be called from a slot of any of its signals.
class OnlineUpgrade : public QObject
{
    Q_OBJECT

public:
    /// What the upgrade finds around it.
    struct Environment
    {
        SerialPortLister listPorts = pod_port::systemPorts;
        QtSerialPortThread::Settings worker;
    };

    explicit OnlineUpgrade(QObject *parent = nullptr);
    ~OnlineUpgrade() override;

    /// Takes effect with the next start().
    void setEnvironment(const Environment &environment) { m_environment = environment; }

    void start();
    void stop();

    bool isRunning() const { return m_worker != nullptr; }

signals:
    /// Which port was found, or that none was.
    void portMessage(QString text);
    /// What the worker reports: states and errors alike.
    void message(QString text);
    /// Percent, then UpgradeExchange::kEndMark.
    void progress(int percent);
    void runningChanged();

private:
    void startWorker(const QString &portName);

    Environment m_environment;
    SerialPortCommunicator *m_port = nullptr; // both null, or both an upgrade under way
    QtSerialPortThread *m_worker = nullptr;
    int m_run = 0; // tells the signals of the current worker from late ones of another
};
