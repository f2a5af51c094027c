#pragma once

#include <QByteArray>

#include <string_view>

enum class FrameType : quint8 { Command = 0, Response = 1 };

/// A frame between the console and the pod's bootloader in its raw form, bytes without the text
/// coding of the line (LineCoding.h). toBytes() and fromBytes() are each other's inverse but for
/// the peculiarities that the subclasses name.
class SerialFrame
{
public:
    virtual ~SerialFrame() = default;
    virtual QByteArray toBytes() const = 0;
    /// False leaves the fields as they were.
    virtual bool fromBytes(const QByteArray &raw) = 0;
    virtual FrameType frameType() const = 0;

    /// How long the sender waits for the answer to this frame; 0 when none is expected.
    int answerTimeoutMs() const { return m_answerTimeoutMs; }

    void setAnswerTimeoutMs(int timeoutMs) { m_answerTimeoutMs = timeoutMs; }

protected:
    SerialFrame() = default;
    SerialFrame(const SerialFrame &) = default;
    SerialFrame &operator=(const SerialFrame &) = default;

private:
    int m_answerTimeoutMs = 0;
};

namespace upgrade {

inline constexpr char kCommandStart = '~';
inline constexpr char kResponseStart = '#';
inline constexpr char kFrameEnd = '\r';

inline constexpr std::string_view kHexDigits = "0123456789ABCDEF"; ///< of the line

/// A 16-bit field, high byte first. The bootloader's reading is kept: the low byte counts as a
/// signed number, so 01 80 is 0x0080, not 0x0180.
inline quint16 readSignedLowField(char high, char low)
{
    return static_cast<quint16>(static_cast<quint8>(high) * 256 + static_cast<qint8>(low));
}

} // namespace upgrade
