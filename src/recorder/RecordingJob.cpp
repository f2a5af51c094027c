#include "RecordingJob.h"

#include "video/AnnexB.h"

#include <QDateTime>
#include <QDir>
#include <QStorageInfo>

#include <algorithm>
#include <utility>

namespace {

constexpr int kCheckMs = 500;
constexpr int kNumberMax = 9999;
constexpr qint64 kFullBytes = 1'000'000; // less free than this is why a write failed
const QStringList kOurFiles = {QStringLiteral("pod_*")};

/// What tells the size of the pictures from this one on, where it says so.
QByteArray sequenceParameters(const MediaItem &item)
{
    const AVCodecID codec = item.stream->parameters->codec_id;
    if (!item.isKey() || (codec != AV_CODEC_ID_H264 && codec != AV_CODEC_ID_HEVC))
        return {};
    const QByteArrayView picture(item.packet->data, item.packet->size);
    return annexb::sequenceParameters(picture, codec == AV_CODEC_ID_H264 ? annexb::Codec::H264
                                                                         : annexb::Codec::H265);
}

} // namespace

RecordingJob::RecordingJob(recording::Options options)
    : m_options(std::move(options))
    , m_baseName(QDateTime::currentDateTime().toString(QStringLiteral("'pod'_yyyy-MM-dd_HH-mm-ss")))
{
    m_sinceStart.start();
}

void RecordingJob::run()
{
    MediaItem item;
    bool afterGap = false;
    for (bool isFine = prepareFolder() && checkDisk(); isFine;) {
        const WriteQueue::Next next = m_queue.take(item, afterGap, kCheckMs);
        if (next == WriteQueue::Next::Ended)
            break;
        isFine = (next == WriteQueue::Next::Nothing || write(item, afterGap))
                 && (!isCheckDue() || checkDisk());
    }
    m_queue.discard();
    m_file.reset();
    const std::lock_guard lock(m_mutex);
    m_hasEnded = true;
}

bool RecordingJob::prepareFolder()
{
    QDir folder(m_options.folder);
    if (!folder.mkpath(QStringLiteral(".")))
        return fail(recording::Trouble::NoFolder, {});
    for (const QFileInfo &file : folder.entryInfoList(kOurFiles, QDir::Files))
        m_earlierBytes += file.size();
    return true;
}

bool RecordingJob::write(const MediaItem &item, bool afterGap)
{
    const QByteArray parameters = sequenceParameters(item);
    if (needsNextFile(item, parameters, afterGap)) {
        if (!openNextFile(*item.stream))
            return false;
        m_stream = item.stream;
        m_parameters = parameters;
    }
    auto result = m_file->write(item);
    if (result == TransportStreamFile::Result::Leap) {
        if (!openNextFile(*item.stream))
            return false;
        result = m_file->write(item);
    }
    if (result != TransportStreamFile::Result::Written)
        return failWriting();
    tellProgress();
    return true;
}

bool RecordingJob::needsNextFile(const MediaItem &item, const QByteArray &parameters,
                                 bool afterGap) const
{
    return !m_file || afterGap || item.stream != m_stream
           || (!parameters.isEmpty() && !m_parameters.isEmpty() && parameters != m_parameters);
}

bool RecordingJob::openNextFile(const RecordedStream &stream)
{
    m_closedBytes += m_file ? m_file->bytes() : 0;
    QString path;
    do {
        const QString name =
            QStringLiteral("%1_%2.ts").arg(m_baseName).arg(++m_number, 2, 10, QLatin1Char('0'));
        path = QDir(m_options.folder).filePath(name);
    } while (QFile::exists(path) && m_number < kNumberMax); // of a clock that was set back
    m_file = std::make_unique<TransportStreamFile>();
    if (!m_file->create(path, stream))
        return fail(recording::Trouble::CannotCreate, m_file->errorText());
    const std::lock_guard lock(m_mutex);
    m_status.file = path;
    ++m_status.files;
    return true;
}

bool RecordingJob::failWriting()
{
    const bool isFull = QStorageInfo(m_options.folder).bytesAvailable() < kFullBytes;
    return fail(isFull ? recording::Trouble::DiskFull : recording::Trouble::WriteFailed,
                m_file->errorText());
}

bool RecordingJob::isCheckDue() { return m_sinceCheck.hasExpired(kCheckMs); }

bool RecordingJob::checkDisk()
{
    m_sinceCheck.start();
    if (m_file && !QFile::exists(m_file->path()))
        return fail(recording::Trouble::FileGone, {});
    const qint64 ownBytes = m_closedBytes + (m_file ? m_file->bytes() : 0);
    const qint64 ofQuota = m_options.quotaBytes - m_earlierBytes - ownBytes;
    const qint64 ofDisk = QStorageInfo(m_options.folder).bytesAvailable() - m_options.reserveBytes;
    if (ofQuota <= 0)
        return fail(recording::Trouble::QuotaReached, {});
    if (ofDisk <= 0)
        return fail(recording::Trouble::DiskFull, {});
    const std::lock_guard lock(m_mutex);
    m_status.bytesLeft = std::min(ofQuota, ofDisk);
    return true;
}

void RecordingJob::tellProgress()
{
    const std::lock_guard lock(m_mutex);
    m_status.bytes = m_closedBytes + m_file->bytes();
    m_sinceProgress.start();
}

bool RecordingJob::fail(recording::Trouble trouble, const QString &detail)
{
    const std::lock_guard lock(m_mutex);
    m_status.trouble = trouble;
    m_status.detail = detail;
    return false;
}

recording::Status RecordingJob::status() const
{
    using recording::State;
    const bool isIdle = m_queue.isEmpty();
    const std::lock_guard lock(m_mutex);
    recording::Status status = m_status;
    status.dropped = m_queue.dropped();
    status.elapsedMs = m_sinceStart.elapsed();
    if (m_hasEnded || status.trouble != recording::Trouble::None)
        status.state = State::Off;
    else if (m_sinceProgress.isValid() && !m_sinceProgress.hasExpired(recording::kFreshMs))
        status.state = State::Writing;
    else
        status.state = isIdle ? State::Waiting : State::Stalled;
    return status;
}
