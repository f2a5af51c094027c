#include "PtyControlLink.h"

#include <QFile>

#include <fcntl.h>
#include <poll.h>
#include <termios.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdlib>
#include <system_error>
#include <utility>

namespace {

constexpr int kWatchMs = 20;

QString systemError() { return QString::fromStdString(std::generic_category().message(errno)); }

// A client must find a raw line: echo would send the pod's frames back to it.
void makeRaw(int terminal)
{
    termios settings{};
    tcgetattr(terminal, &settings);
    cfmakeraw(&settings);
    tcsetattr(terminal, TCSANOW, &settings);
}

} // namespace

PtyControlLink::PtyControlLink(QObject *parent)
    : ControlLink(parent)
{
    connect(&m_watch, &QTimer::timeout, this, &PtyControlLink::watch);
}

PtyControlLink::~PtyControlLink()
{
    hangUp();
    if (!m_linkPath.isEmpty())
        QFile::remove(m_linkPath);
}

bool PtyControlLink::open(const QString &linkPath, QString &error)
{
    m_master = posix_openpt(O_RDWR | O_NOCTTY | O_NONBLOCK | O_CLOEXEC);
    std::array<char, 128> name{};
    if (m_master < 0 || grantpt(m_master) != 0 || unlockpt(m_master) != 0
        || ptsname_r(m_master, name.data(), name.size()) != 0) {
        error = systemError();
        return false;
    }
    m_slavePath = QString::fromLocal8Bit(name.data());
    makeRaw(m_master);
    // Only after a first close does the master tell whether someone holds the slave.
    ::close(::open(name.data(), O_RDWR | O_NOCTTY | O_CLOEXEC));

    if (!linkPath.isEmpty()) {
        QFile::remove(linkPath);
        if (!QFile::link(m_slavePath, linkPath)) {
            error = QStringLiteral("cannot create %1").arg(linkPath);
            return false;
        }
        m_linkPath = linkPath;
    }
    m_notifier = std::make_unique<QSocketNotifier>(m_master, QSocketNotifier::Read);
    m_notifier->setEnabled(false);
    connect(m_notifier.get(), &QSocketNotifier::activated, this, &PtyControlLink::readAvailable);
    m_watch.start(kWatchMs);
    return true;
}

void PtyControlLink::holdSlave()
{
    m_heldSlave = ::open(qPrintable(m_slavePath), O_RDWR | O_NOCTTY | O_CLOEXEC);
}

bool PtyControlLink::isFetched() const
{
    // Unlike FIONREAD, poll sees the bytes that are still on their way through the terminal.
    pollfd state{m_heldSlave, POLLIN, 0};
    return m_heldSlave < 0 || poll(&state, 1, 0) <= 0;
}

void PtyControlLink::discardUnfetched()
{
    if (m_heldSlave >= 0)
        tcflush(m_heldSlave, TCIFLUSH);
}

void PtyControlLink::hangUp()
{
    m_watch.stop();
    m_notifier.reset();
    const bool hadClient = std::exchange(m_hasClient, false);
    for (int *const terminal : {&m_heldSlave, &m_master}) {
        if (*terminal >= 0)
            ::close(*terminal);
        *terminal = -1;
    }
    if (hadClient)
        Q_EMIT clientChanged();
}

void PtyControlLink::watch()
{
    pollfd state{m_master, POLLIN, 0};
    poll(&state, 1, 0);
    setHasClient((state.revents & POLLHUP) == 0);
}

void PtyControlLink::setHasClient(bool hasClient)
{
    if (hasClient == m_hasClient)
        return;
    m_hasClient = hasClient;
    m_notifier->setEnabled(hasClient); // a hung-up master is readable without end
    Q_EMIT clientChanged();
}

void PtyControlLink::readAvailable()
{
    std::array<char, 4096> buffer{};
    const ssize_t count = ::read(m_master, buffer.data(), buffer.size());
    if (count > 0)
        Q_EMIT received(QByteArray(buffer.data(), count));
    else if (count < 0 && errno == EIO)
        setHasClient(false);
}

void PtyControlLink::send(const QByteArray &bytes)
{
    // A full line drops the frame, as a real one would overrun.
    if (m_hasClient && ::write(m_master, bytes.constData(), size_t(bytes.size())) < 0
        && errno == EIO)
        setHasClient(false);
}
