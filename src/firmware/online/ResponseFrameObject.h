#pragma once

#include "SerialFrame.h"

#include <QObject>

/// The answer to a command, from either side: '#', index (high byte first), status, carriage
/// return.
class ResponseFrameObject : public SerialFrame
{
    Q_GADGET

public:
    enum class ResponseStatus : quint8 {
        Accepted = 0,
        Refused = 1,
        SendAgain = 2,
        Other = 255, ///< any status byte that is none of the above
    };
    Q_ENUM(ResponseStatus)

    quint16 index = 0; ///< the second value of the command that is answered
    ResponseStatus status = ResponseStatus::Accepted;

    QByteArray toBytes() const override;
    /// Reads the index with a signed low byte (readSignedLowField).
    bool fromBytes(const QByteArray &raw) override;

    FrameType frameType() const override { return FrameType::Response; }
};
