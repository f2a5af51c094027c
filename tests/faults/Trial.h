#pragma once

#include "Flight.h"

#include <memory>
#include <optional>

/// One row of the fault matrix under way: the flight it disturbs and what was seen of it. After the
/// first expectation that does not hold the others count for nothing.
class Trial
{
public:
    static constexpr int kLossMs = 20000; ///< a lost stream: noticed in 3 s, tried again after 5 s

    Flight &flight() { return *m_flight; }
    /// Flies a console of the row's own, until land().
    void begin(const Flight::Setup &setup);
    void land() { m_own.reset(); }
    void use(Flight &flight) { m_flight = &flight; }
    void skip(const QString &reason) { m_skipped = reason; }

    /// Lets what was begun last so long.
    void lastFor(int ms)
    {
        m_flight->waitFor([] { return false; }, ms);
    }
    void fault(const QString &line) { m_flight->fault(line); }
    void press(const char *key) { m_flight->input(QByteArray("keydown --delay 0 ") + key); }
    void release(const char *key) { m_flight->input(QByteArray("keyup --delay 0 ") + key); }
    /// Presses the key and waits until the pod has the command.
    void move(const char *key);
    /// Waits until the pod has a motion without its stop, or none.
    bool moves(bool wanted, int timeoutMs = Flight::kWaitMs);

    void expect(bool holds, const QString &what);
    void expectShown(const QString &text, int timeoutMs = Flight::kWaitMs);
    void expectControl();
    /// The window answers, and with it everything on its thread.
    void expectAnswer();
    void expectRecordInOrder();

    /// Connected over TCP with the stream running and nothing moving.
    void restore();
    /// restore(), after once around: what is made at the first use is no growth.
    void takeLevel();
    /// What the console holds is back at the level; to be called after restore().
    void expectLevel();

    bool passed() const { return m_failure.isEmpty(); }
    QString failure() const { return m_failure; }
    /// Outcome, texts shown, milliseconds, memory, descriptors, threads.
    QString cells() const;

private:
    std::unique_ptr<Flight> m_own;
    Flight *m_flight = nullptr;
    QString m_failure;
    QString m_skipped;
    QStringList m_shown;
    std::optional<Vitals> m_before;
    Vitals m_after;
    int m_worstMs = -1;
};
