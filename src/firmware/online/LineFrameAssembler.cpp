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
        m_frame.append(byte);
        const bool ended = byte == upgrade::kFrameEnd;
        if (ended && m_frame.size() % 2 == 0)
            frames.append(m_frame);
        if (ended || m_frame.size() >= kFrameMax) {
            m_state = State::Idle;
            m_frame.clear();
        }
    }
    return frames;
}
