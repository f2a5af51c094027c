#pragma once

#include <QByteArray>
#include <QObject>

/// One way by which consoles reach the pod. Survives any number of clients coming and going, and
/// never blocks or hoards on one that does not read.
class ControlLink : public QObject
{
    Q_OBJECT

public:
    using QObject::QObject;

    /// One write for each call, to every client; dropped where there is none or it does not read.
    virtual void send(const QByteArray &bytes) = 0;
    virtual bool hasClient() const = 0;

Q_SIGNALS:
    void received(QByteArray bytes);
    void clientChanged();
};
