#pragma once

#include <vector>

/// A loopback address that answers no connect: its queue of pending ones is full.
class SilentListener
{
public:
    SilentListener();
    ~SilentListener();
    SilentListener(const SilentListener &) = delete;
    SilentListener &operator=(const SilentListener &) = delete;

    int port() const { return m_port; }

private:
    int open();

    std::vector<int> m_sockets;
    int m_port = 0;
};
