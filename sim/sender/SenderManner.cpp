#include "SenderManner.h"

#include <functional>
#include <map>

namespace {

using Setter = std::function<bool(SenderManner &, const QString &)>;

/// A choice by its name.
template<typename Value>
Setter oneOf(Value SenderManner::*member, std::map<QString, Value> choices)
{
    return [=](SenderManner &manner, const QString &text) {
        const auto found = choices.find(text);
        if (found == choices.end())
            return false;
        manner.*member = found->second;
        return true;
    };
}

Setter flag(bool SenderManner::*member)
{
    return oneOf<bool>(member, {{QStringLiteral("0"), false}, {QStringLiteral("1"), true}});
}

Setter number(int SenderManner::*member, int low, int high)
{
    return [=](SenderManner &manner, const QString &text) {
        bool ok = false;
        const int value = text.toInt(&ok);
        manner.*member = value;
        return ok && value >= low && value <= high;
    };
}

const std::map<QString, Setter> &setters()
{
    using Times = SenderManner::Times;
    using Markers = SenderManner::Markers;
    static const std::map<QString, Setter> table = {
        {QStringLiteral("payload"), number(&SenderManner::payloadBytes, 16, 60000)},
        {QStringLiteral("even"), flag(&SenderManner::evenPieces)},
        {QStringLiteral("sets"), flag(&SenderManner::setsAtSlices)},
        {QStringLiteral("join"), flag(&SenderManner::joined)},
        {QStringLiteral("filler"), flag(&SenderManner::filler)},
        {QStringLiteral("times"),
         oneOf<Times>(&SenderManner::times, {{QStringLiteral("picture"), Times::Picture},
                                             {QStringLiteral("slice"), Times::Slice},
                                             {QStringLiteral("packet"), Times::Packet}})},
        {QStringLiteral("markers"),
         oneOf<Markers>(&SenderManner::markers, {{QStringLiteral("last"), Markers::Last},
                                                 {QStringLiteral("never"), Markers::Never},
                                                 {QStringLiteral("always"), Markers::Always}})},
        {QStringLiteral("pes"), number(&SenderManner::pesBytes, 0, 65000)},
        {QStringLiteral("lose"), number(&SenderManner::lostPercent, 0, 100)},
        {QStringLiteral("skip"), number(&SenderManner::skippedPictures, 0, 1000000)},
        {QStringLiteral("fps"), number(&SenderManner::fps, 1, 1000)},
        {QStringLiteral("paced"), flag(&SenderManner::paced)},
    };
    return table;
}

} // namespace

std::optional<SenderManner> parseSenderManner(const QUrlQuery &query)
{
    SenderManner manner;
    for (const auto &[key, value] : query.queryItems()) {
        const auto setter = setters().find(key);
        if (setter == setters().end() || !setter->second(manner, value))
            return std::nullopt;
    }
    return manner;
}
