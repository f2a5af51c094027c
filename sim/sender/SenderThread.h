#pragma once

#include <QSemaphore>
#include <QString>
#include <QThread>

#include <memory>

/// A PacketSender on a thread of its own, for who blocks while it plays.
class SenderThread
{
public:
    explicit SenderThread(const QString &folder);
    ~SenderThread();
    SenderThread(const SenderThread &) = delete;
    SenderThread &operator=(const SenderThread &) = delete;

    /// Of the folder; empty when the server did not start.
    QString url() const { return m_url; }

private:
    void serve(const QString &folder);

    QString m_url;
    QSemaphore m_ready;
    std::unique_ptr<QThread> m_thread;
};
