#include "SenderThread.h"

#include "PacketSender.h"

#include <QEventLoop>

SenderThread::SenderThread(const QString &folder)
    : m_thread(QThread::create([this, folder] { serve(folder); }))
{
    m_thread->start();
    m_ready.acquire();
}

SenderThread::~SenderThread()
{
    m_thread->quit();
    m_thread->wait();
}

void SenderThread::serve(const QString &folder)
{
    PacketSender sender({folder, QHostAddress::LocalHost, 0});
    QString error;
    if (sender.start(error))
        m_url = sender.endpoints().first().section(u' ', -1);
    m_ready.release();
    QEventLoop().exec();
}
