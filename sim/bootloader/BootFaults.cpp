#include "BootFaults.h"

#include <algorithm>
#include <array>

namespace {

struct MomentName
{
    const char *name;
    BootMoment moment;
};

constexpr auto kMoments = std::to_array<MomentName>({
    {"newboot", BootMoment::NewBoot},
    {"phrase", BootMoment::Phrase},
    {"put", BootMoment::Put},
    {"header", BootMoment::Header},
    {"ready", BootMoment::Ready},
    {"block", BootMoment::Block},
    {"eot1", BootMoment::FirstEot},
    {"eot2", BootMoment::SecondEot},
    {"final", BootMoment::FinalRequest},
    {"null", BootMoment::NullHeader},
    {"success", BootMoment::Success},
});

struct EffectName
{
    enum Argument : quint8 { None, Hex, Milliseconds };

    const char *name;
    BootFaults::Effect effect;
    Argument argument = None;
    const char *bytes = ""; // where the name says them
};

constexpr auto kEffects = std::to_array<EffectName>({
    {"silent", BootFaults::Effect::Silent},
    {"nak", BootFaults::Effect::Wrong, EffectName::None, "\x15"},
    {"c", BootFaults::Effect::Wrong, EffectName::None, "C"},
    {"wrong", BootFaults::Effect::Wrong, EffectName::Hex},
    {"late", BootFaults::Effect::Late, EffectName::Milliseconds},
    {"twice", BootFaults::Effect::Twice},
    {"joined", BootFaults::Effect::Joined, EffectName::Hex},
    {"noise", BootFaults::Effect::Noise, EffectName::Hex},
    {"die", BootFaults::Effect::Die},
});

template<typename Table>
const auto *find(const Table &table, const QString &name)
{
    const auto row = std::ranges::find_if(
        table, [&](const auto &entry) { return name == QLatin1String(entry.name); });
    return row == table.end() ? nullptr : &*row;
}

template<typename Table>
QString namesOf(const Table &table)
{
    QStringList names;
    for (const auto &entry : table)
        names.append(QString::fromLatin1(entry.name));
    return names.join(u'|');
}

bool readArgument(EffectName::Argument kind, const QString &word, BootFaults::Fault &fault)
{
    bool ok = false;
    if (kind == EffectName::Milliseconds) {
        fault.delayMs = word.toInt(&ok);
        return ok && fault.delayMs >= 0;
    }
    fault.bytes = QByteArray::fromHex(word.toLatin1());
    return !fault.bytes.isEmpty();
}

} // namespace

bool BootFaults::add(const QStringList &words)
{
    QStringList left = words;
    Fault fault;
    bool ok = true;
    if (!left.isEmpty() && left.constLast().startsWith(u'x')) {
        fault.times = left.takeLast().mid(1).toInt(&ok);
        ok = ok && fault.times > 0;
    }
    const QStringList place = left.value(0).split(u':');
    if (ok && place.size() > 1)
        fault.block = place.at(1).toInt(&ok);
    const MomentName *const moment = find(kMoments, place.constFirst());
    const EffectName *const effect = find(kEffects, left.value(1));
    if (!ok || !moment || !effect)
        return false;
    fault.moment = moment->moment;
    fault.effect = effect->effect;
    fault.bytes = effect->bytes;
    const bool takesArgument = effect->argument != EffectName::None;
    if (left.size() != (takesArgument ? 3 : 2))
        return false;
    if (takesArgument && !readArgument(effect->argument, left.at(2), fault))
        return false;
    m_faults.append(fault);
    return true;
}

std::optional<BootFaults::Fault> BootFaults::take(BootMoment moment, int block)
{
    const auto fault = std::ranges::find_if(m_faults, [&](const Fault &candidate) {
        return candidate.moment == moment && candidate.times != 0
               && (candidate.block == kEveryBlock || candidate.block == block);
    });
    if (fault == m_faults.end())
        return std::nullopt;
    if (fault->times > 0)
        --fault->times;
    return *fault;
}

QString BootFaults::grammar()
{
    return QStringLiteral("%1[:BLOCK] %2 [HEX|MS] [xTIMES]")
        .arg(namesOf(kMoments), namesOf(kEffects));
}
