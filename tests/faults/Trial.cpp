#include "Trial.h"

#include <QElapsedTimer>

#include <algorithm>

using namespace Qt::StringLiterals;

namespace {

constexpr int kLevelMs = 45000; // idle pool threads end after 30 s
constexpr int kSlackKib = 8192; // allocators keep some of what was freed
constexpr int kSampleMs = 1000;
constexpr int kAnswerMs = 1000;
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
constexpr bool kMemoryIsTold = false; // the sanitizers keep what was freed
#else
constexpr bool kMemoryIsTold = true;
#endif

} // namespace

void Trial::begin(const Flight::Setup &setup)
{
    m_own = std::make_unique<Flight>(setup);
    m_flight = m_own.get();
}

void Trial::move(const char *key)
{
    press(key);
    expect(moves(true), u"the pod did not move"_s);
}

bool Trial::moves(bool wanted, int timeoutMs)
{
    PodRecord &record = m_flight->record();
    const auto asWanted = [&] {
        record.update();
        return record.isMoving() == wanted;
    };
    return m_flight->waitFor(asWanted, timeoutMs);
}

void Trial::expect(bool holds, const QString &what)
{
    if (!holds && passed())
        m_failure = what + u"; log: "_s + m_flight->logTail();
}

void Trial::expectShown(const QString &text, int timeoutMs)
{
    expect(m_flight->said(text, timeoutMs), u"\"%1\" was not shown"_s.arg(text));
    if (!m_shown.contains(text))
        m_shown.append(text);
}

void Trial::expectControl()
{
    const int ms = m_flight->measureControl();
    expect(ms >= 0,
           u"a command took over %1 ms; window active: %2, video has the keyboard: %3"_s.arg(
               QString::number(Flight::kControlMs), m_flight->get("mainWindow", "active"),
               m_flight->get("videoRenderer", "activeFocus")));
    m_worstMs = std::max(m_worstMs, ms);
}

void Trial::expectAnswer()
{
    QElapsedTimer clock;
    clock.start();
    m_flight->get("mainWindow", "title");
    expect(clock.elapsed() < kAnswerMs, u"the window did not answer"_s);
}

void Trial::expectRecordInOrder()
{
    m_flight->record().update();
    const QStringList faults = m_flight->record().faults();
    expect(faults.isEmpty(), faults.join(u", "_s));
    expect(!m_flight->record().isMoving(), u"a motion is left without its stop"_s);
}

void Trial::restore()
{
    expect(m_flight->connectBy(Flight::Tcp), u"no connection"_s);
    expect(m_flight->waitFor([this] { return m_flight->isPlaying(); }, kLossMs), u"no video"_s);
    expectControl();
}

void Trial::takeLevel()
{
    restore();
    expect(m_flight->disconnect() && m_flight->openDrawer(0) && m_flight->click("urlButton"),
           u"no drawer"_s);
    expect(m_flight->waitFor([this] { return !m_flight->isPlaying(); }), u"no new start"_s);
    restore();
    m_before = m_flight->vitals();
    const auto takeHighest = [this] { // picture buffers come and go
        m_before->residentKib = std::max(m_before->residentKib, m_flight->vitals().residentKib);
        return false;
    };
    m_flight->waitFor(takeHighest, kSampleMs);
    m_flight->forget(); // what was shown up to here does not count
}

void Trial::expectLevel()
{
    const auto isBack = [this] {
        m_after = m_flight->vitals();
        return m_after.descriptors <= m_before->descriptors && m_after.threads <= m_before->threads
               && (!kMemoryIsTold || m_after.residentKib - m_before->residentKib < kSlackKib);
    };
    const bool back = m_flight->waitFor(isBack, kLevelMs);
    expect(back, u"left over: %1 KiB, %2 descriptors, %3 threads"_s
                     .arg(m_after.residentKib - m_before->residentKib)
                     .arg(m_after.descriptors - m_before->descriptors)
                     .arg(m_after.threads - m_before->threads));
}

QString Trial::cells() const
{
    const QString none = u"–"_s;
    const auto pair = [&](auto Vitals::*member, int divisor) {
        if (!m_before || !passed())
            return none;
        const auto text = [&](const Vitals &vitals) {
            return QString::number(double(vitals.*member) / divisor, 'f', divisor > 1 ? 1 : 0);
        };
        return text(*m_before) + u" → "_s + text(m_after);
    };
    const QString outcome = !passed()             ? u"**failed**"_s
                            : m_skipped.isEmpty() ? u"held"_s
                                                  : u"skipped: "_s + m_skipped;
    return QStringList{outcome,
                       m_shown.isEmpty() ? none : m_shown.join(u"; "_s),
                       m_worstMs < 0 ? none : QString::number(m_worstMs),
                       pair(&Vitals::residentKib, 1024),
                       pair(&Vitals::descriptors, 1),
                       pair(&Vitals::threads, 1)}
        .join(u" | "_s);
}
