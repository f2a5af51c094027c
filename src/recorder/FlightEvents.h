#pragma once

#include "klv/UasDatalink.h"
#include "protocol/InboundFrames.h"

#include <QJsonObject>

/// What the link tells and is told, in the forms in which a recording carries it.
namespace recording {

/// What a status frame tells of the geometry. `version` is the pod's version text, and may be
/// empty. A range of zero and a target at zero degrees both ways stand for none.
klv::UasDatalinkSet geometryOf(const protocol::StatusFrame &status, const QString &version,
                               qint64 timeMs);

/// A line of the log: UTC with milliseconds, what happened, and the particulars.
QByteArray eventLine(qint64 timeMs, const QString &event, QJsonObject particulars);

/// The particulars of a frame that was sent.
QJsonObject particularsOf(const QByteArray &frame);
QJsonObject particularsOf(const protocol::StatusFrame &status);

} // namespace recording
