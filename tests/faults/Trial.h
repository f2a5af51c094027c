#pragma once

#include "Flight.h"

#include <QCoreApplication>

#include <algorithm>
#include <cstdio>

/// A flight that is judged: by a row of the fault matrix or by the soak. After the first
/// expectation that does not hold, which is printed and keeps the logs, the others count for
/// nothing.
class Trial : public Flight
{
public:
    static constexpr int kLossMs = 20000; ///< a lost stream: noticed in 3 s, tried again after 5 s
    static constexpr int kSlackKib = 12288; ///< more or less, in a flight that has but warmed up

    Trial(const Setup &setup, const QString &failureFolder)
        : Flight(setup)
        , m_failureFolder(failureFolder)
    {
    }

    void expect(bool holds, const QString &what)
    {
        if (holds || !m_passed)
            return;
        m_passed = false;
        keepLogs(m_failureFolder);
        std::printf("failed: %s; logs and doings are in %s\n", qPrintable(what),
                    qPrintable(m_failureFolder));
        std::fflush(stdout);
    }
    void expectShown(const QString &text, int timeoutMs = kWaitMs)
    {
        expect(said(text, timeoutMs), u"\"%1\" was not shown"_s.arg(text));
        m_shown.removeAll(text);
        m_shown.append(text);
    }
    void expectControl()
    {
        const int ms = measureControl();
        expect(ms >= 0,
               u"a command took over %1 ms; window active: %2, video has the keyboard: %3"_s
                   .arg(kControlMs)
                   .arg(get("mainWindow", "active"))
                   .arg(get("videoRenderer", "activeFocus")));
        m_worstMs = std::max(m_worstMs, ms);
    }
    /// The window answers, and with it everything on its thread.
    void expectAnswer()
    {
        expect(!ask(u"get mainWindow title"_s, kAnswerMs).isEmpty(), u"the window is stuck"_s);
    }
    void expectRecordInOrder()
    {
        const QStringList faults = record().faults();
        expect(faults.isEmpty(), faults.join(u", "_s));
        expect(!record().isMoving(), u"a motion is left without its stop"_s);
    }
    /// Waits until the pod has a motion without its stop, or none.
    void expectMoving(bool wanted, int timeoutMs = kControlMs)
    {
        expect(waitFor([&] { return record().isMoving() == wanted; }, timeoutMs),
               wanted ? u"the pod does not move"_s : u"a motion is left without its stop"_s);
    }
    void move(const QByteArray &key)
    {
        press(key);
        expectMoving(true);
    }
    void expectConnection(Link link) { expect(connectBy(link), u"no connection"_s); }
    /// Connected over TCP with the stream running and nothing moving.
    void restore(int lossMs = kLossMs)
    {
        expectConnection(Tcp);
        expect(waitFor([this] { return isPlaying(); }, lossMs), u"no video"_s);
        expectControl();
    }
    /// Begins to judge anew, after once around: what is made at the first use is no growth.
    void takeLevel()
    {
        restore();
        expect(disconnect() && openDrawer(0) && click(u"urlButton"_s), u"no drawer"_s);
        expect(waitFor([this] { return !isPlaying(); }), u"no new start"_s);
        restore();
        m_before = vitals();
        const auto takeHighest = [this] { // picture buffers come and go
            m_before.residentKib = std::max(m_before.residentKib, vitals().residentKib);
            return false;
        };
        waitFor(takeHighest, kSampleMs);
        forget(); // what was shown up to here does not count
        m_shown.clear();
        m_worstMs = 0;
    }
    /// What the console holds is back at the level; to be called after restore().
    void expectLevel()
    {
        const auto isBack = [this] {
            m_after = vitals();
            return m_after.descriptors <= m_before.descriptors
                   && m_after.threads <= m_before.threads
                   && m_after.residentKib - m_before.residentKib < kSlackKib;
        };
        const bool isLevel = waitFor(isBack, kLevelMs);
        expect(isLevel, u"left over: "_s + held(m_before, m_after));
    }

    bool passed() const { return m_passed; }
    /// Memory in MiB, descriptors and threads at two moments.
    static QString held(const Vitals &before, const Vitals &after)
    {
        const auto mib = [](qint64 kib) { return QString::number(double(kib) / 1024, 'f', 1); };
        return u"%1 → %2 | %3 → %4 | %5 → %6"_s.arg(mib(before.residentKib), mib(after.residentKib))
            .arg(before.descriptors)
            .arg(after.descriptors)
            .arg(before.threads)
            .arg(after.threads);
    }
    /// Outcome, texts shown, milliseconds, memory, descriptors, threads.
    QString cells() const
    {
        return QStringList{m_passed ? u"held"_s : u"**failed**"_s,
                           m_shown.isEmpty() ? u"–"_s : m_shown.join(u"; "_s),
                           QString::number(m_worstMs),
                           m_after.threads > 0 ? held(m_before, m_after) : u"– | – | –"_s}
            .join(u" | "_s);
    }

private:
    static constexpr int kLevelMs = 45000; // idle pool threads end after 30 s
    static constexpr int kSampleMs = 1000;
    static constexpr int kAnswerMs = 1000;

    QString m_failureFolder;
    bool m_passed = true;
    QStringList m_shown;
    Vitals m_before;
    Vitals m_after;
    int m_worstMs = 0;
};

/// What follows the option on the command line.
inline QString valueOf(const QString &option, const QString &byDefault = {})
{
    const QStringList arguments = QCoreApplication::arguments();
    const qsizetype index = arguments.indexOf(option);
    return index < 0 ? byDefault : arguments.value(index + 1);
}
