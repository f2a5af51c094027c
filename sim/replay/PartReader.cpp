#include "PartReader.h"

#include <algorithm>

namespace {

constexpr qint64 kForwardMaxUs = 10'000'000; // a longer step is a leap of the file's time
constexpr qint64 kBackMaxUs = 1'000'000;     // likewise
constexpr qint64 kStepUs = 40'000;           // between pictures of which nothing else is known
constexpr qint64 kLeastStepUs = 100;         // so that two times never fall into one

bool isLeap(qint64 from, qint64 to) { return to - from > kForwardMaxUs || from - to > kBackMaxUs; }

} // namespace

// The first comes at 0.
PartReader::PartReader()
    : m_newestUs(-kStepUs)
{
}

bool PartReader::open(const QString &file, QString &error)
{
    *this = PartReader();
    if (!m_file.open(file, error))
        return false;
    m_video = m_file.videoStream();
    return true;
}

PartReader::Kind PartReader::next()
{
    while (m_file.read()) {
        if (packet().stream_index == m_video) {
            if (takePicture())
                return Kind::Picture;
        } else if (!m_wanted) {
            placeSet();
            return Kind::Telemetry;
        }
    }
    return Kind::End;
}

bool PartReader::seek(const Key &key)
{
    m_wanted = key;
    m_needsKey = true;
    return m_file.seek(key.bytes);
}

std::optional<PartReader::Key> PartReader::key() const
{
    const bool isKey = (packet().flags & AV_PKT_FLAG_KEY) != 0;
    const std::optional<qint64> time = fileTime();
    return isKey && time ? std::optional(Key{packet().pos, *time, m_us}) : std::nullopt;
}

/// Of decoding; a stream leaves it out where it is that of showing.
std::optional<qint64> PartReader::fileTime() const
{
    const auto decoded = m_file.microseconds(packet().dts);
    return decoded ? decoded : m_file.microseconds(packet().pts);
}

bool PartReader::takePicture()
{
    const std::optional<qint64> time = fileTime();
    if (m_needsKey && (packet().flags & AV_PKT_FLAG_KEY) == 0)
        return false;
    if (m_wanted) {
        if (time != m_wanted->fileUs)
            return false;
        m_offset = m_wanted->us - m_wanted->fileUs;
        m_newestUs = m_wanted->us - kStepUs;
        m_wanted.reset();
    }
    m_needsKey = false;
    m_us = std::max(placed(time, m_newestUs + kStepUs), m_newestUs + kLeastStepUs);
    m_newestUs = m_us;
    const auto shown = m_file.microseconds(packet().pts);
    m_shownLaterUs = shown ? std::max(*shown - *time, qint64(0)) : 0;
    return true;
}

void PartReader::placeSet()
{
    const std::optional<qint64> time = fileTime();
    if (!hasVideo()) {
        m_newestUs = std::max(m_newestUs, placed(time, std::max(m_newestUs, qint64(0))));
        m_us = m_newestUs;
    } else {
        m_us = usOf(time);
    }
}

/// Where there is a picture, its time is what counts: a set whose own is far from it has none.
qint64 PartReader::usOf(std::optional<qint64> fileUs) const
{
    const bool isNear = fileUs && m_offset && !isLeap(m_newestUs, *fileUs + *m_offset);
    return isNear ? *fileUs + *m_offset : std::max(m_newestUs, qint64(0));
}

/// By the stream that the time goes by.
qint64 PartReader::placed(std::optional<qint64> time, qint64 without)
{
    if (!m_offset)
        m_offset = m_newestUs + kStepUs - time.value_or(0);
    if (!time)
        return without;
    const qint64 us = *time + *m_offset;
    if (!isLeap(m_newestUs, us))
        return us;
    *m_offset += m_newestUs + kStepUs - us;
    return m_newestUs + kStepUs;
}
