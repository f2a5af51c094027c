#pragma once

#include <QByteArray>
#include <QString>

#include <fcntl.h>
#include <termios.h>
#include <unistd.h>

#include <array>
#include <cstdlib>
#include <utility>

/// A pseudo terminal pair: the slave is opened by path as a serial port, the master is the far end
/// of the line, driven by hand. Raw on both sides.
class PtyPair
{
public:
    PtyPair()
    {
        termios settings{};
        if (m_master < 0 || grantpt(m_master) != 0 || unlockpt(m_master) != 0
            || tcgetattr(m_master, &settings) != 0)
            qFatal("PtyPair: no pseudo terminal");
        cfmakeraw(&settings);
        tcsetattr(m_master, TCSANOW, &settings);
    }
    ~PtyPair() { unplug(); }
    Q_DISABLE_COPY(PtyPair)

    QString slavePath() const { return m_slavePath; }
    /// One write, whole.
    void send(const QByteArray &bytes)
    {
        if (::write(m_master, bytes.constData(), size_t(bytes.size())) != bytes.size())
            qFatal("PtyPair: short write");
    }
    /// All that the slave's side has written so far, without waiting.
    const QByteArray &received()
    {
        std::array<char, 4096> buffer{};
        ssize_t count = 0;
        while ((count = ::read(m_master, buffer.data(), buffer.size())) > 0)
            m_received.append(buffer.data(), count);
        return m_received;
    }
    /// The device vanishes, as a pulled plug would make it.
    void unplug() { ::close(std::exchange(m_master, -1)); }

private:
    int m_master = posix_openpt(O_RDWR | O_NOCTTY | O_NONBLOCK | O_CLOEXEC);
    QString m_slavePath = QString::fromLocal8Bit(ptsname(m_master));
    QByteArray m_received;
};
