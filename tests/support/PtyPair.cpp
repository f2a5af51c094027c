#include "PtyPair.h"

#include <fcntl.h>
#include <termios.h>
#include <unistd.h>

#include <array>
#include <cstdlib>

PtyPair::PtyPair()
    : m_master(posix_openpt(O_RDWR | O_NOCTTY | O_NONBLOCK | O_CLOEXEC))
{
    std::array<char, 128> name{};
    if (m_master < 0 || grantpt(m_master) != 0 || unlockpt(m_master) != 0
        || ptsname_r(m_master, name.data(), name.size()) != 0)
        qFatal("PtyPair: no pseudo terminal");
    m_slavePath = QString::fromLocal8Bit(name.data());
    termios settings{};
    tcgetattr(m_master, &settings);
    cfmakeraw(&settings);
    tcsetattr(m_master, TCSANOW, &settings);
}

PtyPair::~PtyPair() { unplug(); }

void PtyPair::send(const QByteArray &bytes)
{
    if (::write(m_master, bytes.constData(), size_t(bytes.size())) != bytes.size())
        qFatal("PtyPair: short write");
}

const QByteArray &PtyPair::received()
{
    std::array<char, 4096> buffer{};
    ssize_t count = 0;
    while ((count = ::read(m_master, buffer.data(), buffer.size())) > 0)
        m_received.append(buffer.data(), count);
    return m_received;
}

void PtyPair::unplug()
{
    if (m_master >= 0)
        ::close(m_master);
    m_master = -1;
}
