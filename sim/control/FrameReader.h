#pragma once

#include <QByteArray>

#include <functional>

/// Cuts the byte stream of a client into command frames, whatever the reads were, and finds its
/// way again after garbage or a bad checksum.
class FrameReader
{
public:
    struct Handlers
    {
        std::function<void(const QByteArray &frame)> frame;
        std::function<void(const QByteArray &bytes, const char *reason)> rejected;
    };

    explicit FrameReader(Handlers handlers);

    void feed(const QByteArray &bytes);
    void clear() { m_buffer.clear(); }

private:
    /// Length of the frame at the buffer's start; 0 while it cannot be told, -1 if none begins.
    qsizetype announcedLength() const;
    void reject(qsizetype count, const char *reason);

    Handlers m_handlers;
    QByteArray m_buffer;
};
