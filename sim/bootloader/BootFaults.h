#pragma once

#include "BootMoment.h"

#include <QByteArray>
#include <QList>
#include <QString>
#include <QStringList>

#include <optional>

/// What the bootloader does instead of answering properly, by the moment of the answer.
class BootFaults
{
public:
    enum class Effect : quint8 {
        Silent, ///< no answer
        Wrong,  ///< other bytes instead
        Late,   ///< the answer, later
        Twice,  ///< the answer, and once more when it has been read
        Joined, ///< more bytes in one write with the answer
        Noise,  ///< bytes before the answer, in a write of their own
        Die,    ///< no answer, and the terminal is gone
    };

    static constexpr int kEveryBlock = -1;
    static constexpr int kEveryTime = -1;

    struct Fault
    {
        BootMoment moment = BootMoment::NewBoot;
        int block = kEveryBlock;
        Effect effect = Effect::Silent;
        QByteArray bytes; ///< of Wrong, Joined and Noise
        int delayMs = 0;  ///< of Late
        int times = kEveryTime;
    };

    /// Adds what the words say: MOMENT[:BLOCK] EFFECT [HEX|MS] [xTIMES]. False when they make no
    /// sense.
    bool add(const QStringList &words);

    void clear() { m_faults.clear(); }

    /// The fault for an answer that is due now, which uses it up by one time.
    std::optional<Fault> take(BootMoment moment, int block);

    /// The words that add() knows, for help.
    static QString grammar();

private:
    QList<Fault> m_faults;
};
