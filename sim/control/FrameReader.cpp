#include "FrameReader.h"

#include "protocol/Bytes.h"
#include "protocol/LongFrame.h"
#include "protocol/ShortFrame.h"

#include <algorithm>
#include <utility>

using protocol::byteAt;

namespace {

constexpr qsizetype kLongestCommand = 64; // a longer announcement is garbage

bool checksumHolds(const QByteArray &frame)
{
    const quint8 sum = byteAt(frame, 0) == protocol::kShortSync ? protocol::shortChecksum(frame)
                                                                : protocol::longChecksum(frame);
    return sum == byteAt(frame, frame.size() - 1);
}

} // namespace

FrameReader::FrameReader(Handlers handlers)
    : m_handlers(std::move(handlers))
{
}

qsizetype FrameReader::announcedLength() const
{
    if (byteAt(m_buffer, 0) == protocol::kShortSync)
        return protocol::kShortFrameLength;
    if (byteAt(m_buffer, 0) != protocol::kLongSync)
        return -1;
    if (m_buffer.size() <= protocol::long_offset::Length)
        return 0;
    const qsizetype length = byteAt(m_buffer, protocol::long_offset::Length);
    return length >= protocol::kLongOverhead && length <= kLongestCommand ? length : -1;
}

void FrameReader::reject(qsizetype count, const char *reason)
{
    m_handlers.rejected(m_buffer.left(count), reason);
    m_buffer.remove(0, count);
}

void FrameReader::feed(const QByteArray &bytes)
{
    m_buffer += bytes;
    while (!m_buffer.isEmpty()) {
        const qsizetype length = announcedLength();
        if (length < 0) {
            const auto next = std::find_if(m_buffer.cbegin() + 1, m_buffer.cend(), [](char byte) {
                const auto value = static_cast<quint8>(byte);
                return value == protocol::kShortSync || value == protocol::kLongSync;
            });
            reject(next - m_buffer.cbegin(), "garbage");
            continue;
        }
        if (length == 0 || m_buffer.size() < length)
            return;
        const QByteArray frame = m_buffer.left(length);
        if (!checksumHolds(frame)) {
            // Only its first byte: a good frame may begin inside it.
            m_handlers.rejected(frame, "bad checksum");
            m_buffer.remove(0, 1);
            continue;
        }
        m_buffer.remove(0, length);
        m_handlers.frame(frame);
    }
}
