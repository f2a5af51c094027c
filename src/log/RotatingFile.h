#pragma once

#include <QByteArray>
#include <QDir>
#include <QFile>
#include <QLockFile>

#include <memory>
#include <optional>

/// A text file that never takes more than a fixed room: a full one is renamed, and the oldest goes.
/// Every console that runs writes to one of its own, "podconsole.log" or "podconsole-2.log" and so
/// on. What is written is with the system at once, so that a crash loses nothing. A disk that takes
/// nothing loses lines; it is tried again with each. Not thread-safe.
class RotatingFile
{
public:
    struct Bounds
    {
        qint64 fileBytes = 8'000'000; // a quarter of an hour of a busy link
        int files = 4;                // with the one being written
    };

    static constexpr int kConsoles = 4; // at once; a further one writes no file

    RotatingFile(const QString &folder, Bounds bounds);

    /// Empty where no file could be had: the folder cannot be written.
    QString path() const;

    /// A line is cut where it alone would fill a file.
    void write(QByteArray line);

private:
    void takeName();
    QString pathOf(int age) const;
    void openFresh();

    const QDir m_folder;
    const Bounds m_bounds;
    std::unique_ptr<QLockFile> m_lock;
    QString m_name; // without extension; empty: no file
    QFile m_file;
};
