#pragma once

#include "model/PodModel.h"
#include "protocol/InboundFrames.h"

#include <QByteArray>

/// The frames that the pod sends, built from its model.
namespace replies {

/// `plain` selects the 37-byte frame without zoom ratio, recording and work mode, else 29 bytes.
QByteArray status(const PodModel &model, bool plain);
/// 29 bytes where the camera's part is told, else 37.
QByteArray status(const protocol::StatusFrame &status);
QByteArray sbus(const PodModel &model);
QByteArray version(const PodModel &model);
/// The reply that a console reads as this text; empty where there is none.
QByteArray version(const QString &text);
QByteArray b7n(const PodModel &model);
/// The short form, which carries the address alone.
QByteArray b7nAddress(const PodModel &model);

} // namespace replies
