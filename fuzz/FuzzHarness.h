#pragma once

#include "Files.h"

#include <QByteArrayList>
#include <QByteArrayView>
#include <QCoreApplication>
#include <QLoggingCategory>
#include <QTemporaryDir>

#include <cstdint>
#include <cstdio>
#include <cstdlib>

/// What the fuzz targets share; included once in each. A target is fuzz::run(): it feeds one input
/// to code of the console the way the outside would, and must come back. Crashes and memory errors
/// are found by the sanitizers, wrong results by FUZZ_REQUIRE, which ends the run.
#define FUZZ_REQUIRE(condition) ((condition) ? void(0) : fuzz::fail(#condition, __FILE__, __LINE__))

namespace fuzz {

[[noreturn]] inline void fail(const char *condition, const char *file, int line)
{
    std::fprintf(stderr, "%s:%d: required: %s\n", file, line, condition);
    std::abort();
}

/// Reads an input from its start. What is asked for beyond the end comes as zeros or less.
class Input
{
public:
    explicit Input(QByteArrayView bytes)
        : m_rest(bytes)
    {
    }

    bool isEmpty() const { return m_rest.isEmpty(); }
    quint8 byte() { return isEmpty() ? quint8(0) : quint8(bytes(1).front()); }
    QByteArrayView bytes(qsizetype length)
    {
        const QByteArrayView taken = m_rest.first(qMin(length, m_rest.size()));
        m_rest = m_rest.sliced(taken.size());
        return taken;
    }
    QByteArrayView rest() { return bytes(m_rest.size()); }
    /// The rest, cut into reads of `length` bytes; 0 leaves it whole.
    QList<QByteArrayView> reads(qsizetype length)
    {
        QList<QByteArrayView> cut;
        while (!isEmpty())
            cut.append(length == 0 ? rest() : bytes(length));
        return cut;
    }

private:
    QByteArrayView m_rest;
};

void run(Input input);

/// Writes a file in a folder of this process; returns its path.
inline QString writeFile(const QString &name, QByteArrayView content)
{
    static const QTemporaryDir folder;
    return ::writeFile(folder.filePath(name), content.toByteArray());
}

} // namespace fuzz

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    // Qt's own event loop is faster than GLib's, and a time zone that is named spares the look at
    // the system's. Timers and paths need an application object.
    static const bool isSet = qputenv("QT_NO_GLIB", "1") && qputenv("TZ", "UTC");
    static int argc = 1;
    static char name[] = "fuzz";
    static char *argv[] = {name, nullptr};
    static const QCoreApplication application(argc, argv);
    static const QtMessageHandler handler =
        qInstallMessageHandler([](QtMsgType, const QMessageLogContext &, const QString &) {});
    FUZZ_REQUIRE(isSet && handler);
    // By their length, log lines are put together for some inputs; the others are faster without.
    QLoggingCategory::defaultCategory()->setEnabled(QtDebugMsg, size % 8 == 0);
    fuzz::run(fuzz::Input(QByteArrayView(data, qsizetype(size))));
    return 0;
}
