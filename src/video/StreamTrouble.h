#pragma once

#include <QString>

/// FFmpeg passes most of the socket errors of Windows on as they are, with numbers of their own;
/// this gives the code that means the same on every system. Other codes stay.
int portableError(int code);

/// Whether reading a stream that fails with this code has lost its network.
bool isNetworkError(int code);

/// Why a stream does not come, as far as that can be told. The words for the operator are the
/// interface's, found by keyOf().
enum class StreamTrouble : quint8 {
    None,
    ConnectionRefused,
    WrongPassword,
    NoSuchStream,
    ServerBusy, ///< or at fault
    UnknownHost,
    Unreachable,
    NoAnswer,
    HungUp,
    UnsupportedTransport,
    UnknownAddress, ///< of no kind that can be opened
    NotUnderstood,
    CannotDecode,
    NoVideo,
    NothingArrives,
    NoNewPicture, ///< of what arrives
    Other,
};

/// A word that stays the same whatever the language; empty for None.
QString keyOf(StreamTrouble trouble);

/// What FFmpeg's error code stands for when an open fails with it. May look the host's name up,
/// which blocks: FFmpeg has one code for names that it cannot find and for much else.
StreamTrouble troubleOf(int code, const QString &url);
