#include "LineFrameAssembler.h"

#include "SerialFrame.h"

QByteArrayList LineFrameAssembler::push(QByteArrayView bytes)
{
    QByteArrayList frames;
    for (const char byte : bytes) {
        if (m_state == State::Idle) {
            if (byte != upgrade::kCommandStart && byte != upgrade::kResponseStart)
                continue;
            m_state = State::Collecting;
        }
        m_frame[m_length++] = byte;
        const bool ended = byte == upgrade::kFrameEnd;
        if (ended && m_length % 2 == 0)
            frames.append(QByteArray(m_frame.data(), static_cast<qsizetype>(m_length)));
        if (ended || m_length == m_frame.size()) {
            m_state = State::Idle;
            m_length = 0;
        }
    }
    return frames;
}
