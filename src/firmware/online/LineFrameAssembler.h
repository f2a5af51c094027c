#pragma once

#include <QByteArrayList>
#include <QByteArrayView>

#include <array>

/// Cuts the bytes of the serial line into frames: from '~' or '#' to a carriage return that makes
/// the length even. Whatever stands between frames is dropped, and so is a frame that ends at an
/// odd length or has no end within kFrameMax bytes. It never holds more than one frame of that
/// length.
class LineFrameAssembler
{
public:
    static constexpr qsizetype kFrameMax = 256; // bytes on the line

    /// The frames that these bytes complete, in order, as they stood on the line.
    QByteArrayList push(QByteArrayView bytes);

private:
    enum class State : quint8 { Idle, Collecting };

    State m_state = State::Idle;
    std::array<char, kFrameMax> m_frame{};
    std::size_t m_length = 0; // of what m_frame holds
};
