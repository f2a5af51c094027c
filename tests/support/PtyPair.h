#pragma once

#include <QByteArray>
#include <QString>

/// A pseudo terminal pair: the slave is opened by path as a serial port, the master is the far end
/// of the line, driven by hand. Raw on both sides.
class PtyPair
{
public:
    PtyPair();
    ~PtyPair();
    PtyPair(const PtyPair &) = delete;
    PtyPair &operator=(const PtyPair &) = delete;

    QString slavePath() const { return m_slavePath; }

    /// One write, whole.
    void send(const QByteArray &bytes);
    /// All that the slave's side has written so far, without waiting.
    const QByteArray &received();
    /// The device vanishes, as a pulled plug would make it.
    void unplug();

private:
    int m_master = -1;
    QString m_slavePath;
    QByteArray m_received;
};
