#pragma once

#include "RecordingStatus.h"
#include "TransportStreamFile.h"
#include "WriteQueue.h"

#include <QElapsedTimer>

#include <mutex>

/// The writing of one recording, on a thread of its own, which owns it together with whoever
/// started it: what is queued goes to numbered files until the queue is ended or a trouble ends it.
class RecordingJob
{
public:
    explicit RecordingJob(recording::Options options);

    WriteQueue &queue() { return m_queue; }

    /// The thread's; returns when everything is written, or on a trouble.
    void run();

    /// Any thread, and never waits for the disk.
    recording::Status status() const;

private:
    bool prepareFolder();
    bool write(const MediaItem &item, bool afterGap);
    bool needsNextFile(const MediaItem &item, const QByteArray &parameters, bool afterGap) const;
    bool openNextFile(const RecordedStream &stream);
    bool failWriting(const QString &detail);
    bool writeLog();
    bool checkDisk();
    bool isCheckDue();
    void tellProgress();
    bool fail(recording::Trouble trouble, const QString &detail);

    const recording::Options m_options;
    WriteQueue m_queue;

    // the thread's
    QString m_baseName;
    std::unique_ptr<TransportStreamFile> m_file;
    std::shared_ptr<const RecordedStream> m_stream; // of m_file
    QByteArray m_parameters;                        // likewise
    QFile m_log;                                    // of events, one line each
    int m_number = 0;                               // of the newest file
    qint64 m_closedBytes = 0;                       // of the files before
    qint64 m_earlierBytes = 0;                      // of the recordings before
    QElapsedTimer m_sinceCheck;

    mutable std::mutex m_mutex; // guards the rest; never held while the disk is at work
    recording::Status m_status;
    QElapsedTimer m_sinceStart;
    QElapsedTimer m_sinceProgress; // invalid before the first byte
    bool m_hasEnded = false;
};
