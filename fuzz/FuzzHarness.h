#pragma once

#include <QByteArray>
#include <QByteArrayView>
#include <QCoreApplication>
#include <QLoggingCategory>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <vector>

/// What the fuzz targets share. A target takes one input, feeds it to code of the console the way
/// the outside would, and must come back; crashes and memory errors are found by the sanitizers,
/// wrong results by FUZZ_REQUIRE.

/// Ends the run with this input as a finding unless the condition holds.
#define FUZZ_REQUIRE(condition) ((condition) ? void(0) : fuzz::fail(#condition, __FILE__, __LINE__))

namespace fuzz {

[[noreturn]] inline void fail(const char *condition, const char *file, int line)
{
    std::fprintf(stderr, "%s:%d: required: %s\n", file, line, condition);
    std::abort();
}

/// Every so many inputs, by their length, log lines are put together, and dropped; the others are
/// faster without.
constexpr std::size_t kInputsPerLog = 8;

/// To be called for each input first. Timers and paths need an application object.
inline void prepare(std::size_t inputLength)
{
    // Qt's own event loop is faster than GLib's, and a time zone that is named spares the look at
    // the system's.
    static const bool isSet = qputenv("QT_NO_GLIB", "1") && qputenv("TZ", "UTC");
    static int argc = 1;
    static char name[] = "fuzz";
    static char *argv[] = {name, nullptr};
    static const QCoreApplication application(argc, argv);
    static const QtMessageHandler previous =
        qInstallMessageHandler([](QtMsgType, const QMessageLogContext &, const QString &) {});
    FUZZ_REQUIRE(isSet);
    Q_UNUSED(previous);
    QLoggingCategory::defaultCategory()->setEnabled(QtDebugMsg, inputLength % kInputsPerLog == 0);
}

/// Reads an input from its start. What is asked for beyond the end comes as zeros or less.
class Input
{
public:
    Input(const std::uint8_t *data, std::size_t size)
        : m_rest(data, qsizetype(size))
    {
    }

    bool isEmpty() const { return m_rest.isEmpty(); }

    quint8 byte()
    {
        const QByteArrayView one = bytes(1);
        return one.isEmpty() ? quint8(0) : quint8(one.front());
    }

    QByteArrayView bytes(qsizetype length)
    {
        const QByteArrayView taken = m_rest.first(qMin(length, m_rest.size()));
        m_rest = m_rest.sliced(taken.size());
        return taken;
    }

    QByteArrayView rest() { return bytes(m_rest.size()); }

private:
    QByteArrayView m_rest;
};

/// Cuts a stream into reads of `length` bytes; 0 leaves it whole.
inline std::vector<QByteArrayView> pieces(QByteArrayView stream, qsizetype length)
{
    std::vector<QByteArrayView> cut;
    const qsizetype step = length == 0 ? qMax<qsizetype>(1, stream.size()) : length;
    for (qsizetype at = 0; at < stream.size(); at += step)
        cut.push_back(stream.sliced(at, qMin(step, stream.size() - at)));
    return cut;
}

} // namespace fuzz
