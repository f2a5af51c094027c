#pragma once

#include <QString>

#include <atomic>

/// Whether the RTSP server closes the connection when it is asked to describe its stream, without a
/// word; FFmpeg has the same code for that and for an answer that makes no sense. Asks it, without
/// name and password, and blocks until it has done something, at most `timeoutMs` or until `abort`.
bool hangsUpWhenAsked(const QString &rtspUrl, int timeoutMs, const std::atomic<bool> &abort);
