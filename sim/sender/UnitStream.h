#pragma once

#include <QByteArray>
#include <QList>

/// A file of H.264 or H.265 in its bare form, taken apart into pictures and their units.
namespace unit_stream {

enum class Codec : quint8 { H264, H265 };

struct Unit
{
    enum class Kind : quint8 { Slice, ParameterSet, Other };

    QByteArray bytes; ///< without a start code
    Kind kind = Kind::Other;
    bool beginsPicture = false;
    bool isKey = false; ///< a slice that decoding can begin with
};

using Picture = QList<Unit>;

QList<Picture> picturesOf(const QByteArray &stream, Codec codec);

} // namespace unit_stream
