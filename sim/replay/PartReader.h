#pragma once

#include "MediaFile.h"

/// One file of a recording on a time of its own: it begins at 0 with the first picture, or the
/// first set where there is no video, only rises, and closes up where the file's own time leaps.
/// Pictures before the first key picture are passed over. One thread.
class PartReader
{
public:
    /// Where decoding can begin.
    struct Key
    {
        qint64 bytes = 0;  ///< in the file
        qint64 fileUs = 0; ///< by the file's time
        qint64 us = 0;
    };

    PartReader();

    bool open(const QString &file, QString &error);
    const MediaFile &file() const { return m_file; }
    /// Of H.264 or H.265.
    bool hasVideo() const { return m_video >= 0; }
    AVCodecID codec() const { return m_file.codec(m_video); }

    enum class Kind : quint8 { Picture, Telemetry, End };
    Kind next();
    /// Goes on with this picture.
    bool seek(const Key &key);

    /// False up to the first picture, or set where there is no video: the times of sets that come
    /// before it are told by usOf() later.
    bool hasBegun() const { return m_offset.has_value(); }
    /// The place of a set whose packet has that time, or none.
    qint64 usOf(std::optional<qint64> fileUs) const;

    // Of what next() came to.
    qint64 us() const { return m_us; }
    /// Of decoding, by the file's time.
    std::optional<qint64> fileTime() const;
    /// By how much a picture is shown later than it is decoded.
    qint64 shownLaterUs() const { return m_shownLaterUs; }
    /// The place of a key picture that has a time; nothing for all others.
    std::optional<Key> key() const;
    const AVPacket &packet() const { return m_file.packet(); }
    QList<klv::UasDatalinkSet> sets() const { return m_file.sets(); }

private:
    bool takePicture();
    void placeSet();
    qint64 placed(std::optional<qint64> time, qint64 without);

    MediaFile m_file;
    int m_video = -1;
    std::optional<Key> m_wanted; // by the newest seek(), until it is found
    bool m_needsKey = true;
    std::optional<qint64> m_offset; // from the file's time; none before the first
    qint64 m_newestUs;              // of the stream that the time goes by
    qint64 m_us = 0;
    qint64 m_shownLaterUs = 0;
};
