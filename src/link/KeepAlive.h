#pragma once

#include <QtGlobal>

class QTcpSocket;

/// Makes the system notice a peer that vanished without a word - a cable pulled, an aircraft out of
/// range - within about kNoticeMs, whether or not there is something to send to it.
namespace keep_alive {

inline constexpr int kIdleSeconds = 2;
inline constexpr int kIntervalSeconds = 2;
inline constexpr int kProbes = 3;
inline constexpr int kNoticeMs = (kIdleSeconds + kIntervalSeconds * kProbes) * 1000;

/// On a connected socket.
void enable(QTcpSocket &socket);

} // namespace keep_alive
