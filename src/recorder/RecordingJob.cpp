#include "RecordingJob.h"

#include "video/AnnexB.h"

#include <QDateTime>
#include <QDir>
#include <QStorageInfo>

#include <algorithm>
#include <utility>

namespace {

constexpr int kCheckMs = 500;
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
                 && (!isCheckDue() || (checkDisk() && writeLog()));
    }
    writeLog();
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
    // Two in one second, or a clock that was set back.
    const QString name = m_baseName;
    for (int i = 2; !folder.entryList({m_baseName + u'*'}, QDir::Files).isEmpty(); ++i)
        m_baseName = QStringLiteral("%1-%2").arg(name).arg(i);
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
        return failWriting(m_file->errorText());
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
    const QString name =
        QStringLiteral("%1_%2.ts").arg(m_baseName).arg(++m_number, 2, 10, QLatin1Char('0'));
    const QString path = QDir(m_options.folder).filePath(name);
    m_file = std::make_unique<TransportStreamFile>();
    if (!m_file->create(path, stream))
        return fail(recording::Trouble::CannotCreate, m_file->errorText());
    const std::lock_guard lock(m_mutex);
    m_status.file = path;
    ++m_status.files;
    return true;
}

/// Bytes that are not the picture's do not make the recording one that is being written.
bool RecordingJob::writeLog()
{
    const QByteArray lines = m_queue.takeLines();
    if (lines.isEmpty())
        return true;
    if (!m_log.isOpen()) {
        m_log.setFileName(QDir(m_options.folder).filePath(m_baseName + QStringLiteral(".jsonl")));
        if (!m_log.open(QIODevice::WriteOnly | QIODevice::NewOnly | QIODevice::Unbuffered))
            return fail(recording::Trouble::CannotCreate, m_log.errorString());
    }
    return m_log.write(lines) == lines.size() || failWriting(m_log.errorString());
}

bool RecordingJob::failWriting(const QString &detail)
{
    const bool isFull = QStorageInfo(m_options.folder).bytesAvailable() < kFullBytes;
    return fail(isFull ? recording::Trouble::DiskFull : recording::Trouble::WriteFailed, detail);
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
    if (m_status.trouble != recording::Trouble::None)
        return false; // what follows from the first
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
