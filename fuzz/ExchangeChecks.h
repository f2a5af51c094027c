#pragma once

#include "FuzzHarness.h"
#include "firmware/online/LineCoding.h"
#include "firmware/online/LineFrameAssembler.h"
#include "firmware/online/UpgradeExchange.h"

namespace fuzz {

/// What must hold for anything that a server-assisted upgrade wants done, whatever made it want it:
/// a command fits the line and reads back as it was. Returns the one among the actions.
inline std::optional<CommandFrameObject> requireSound(const UpgradeExchange::Actions &actions)
{
    std::optional<CommandFrameObject> sent;
    for (const UpgradeExchange::Action &action : actions) {
        if (const auto *progress = std::get_if<UpgradeExchange::Progress>(&action))
            FUZZ_REQUIRE(progress->percent >= 0 && progress->percent <= UpgradeExchange::kEndMark);
        const auto *command = std::get_if<UpgradeExchange::SendCommand>(&action);
        if (!command)
            continue;
        FUZZ_REQUIRE(!sent); // the bootloader answers one at a time
        sent = command->frame;
        const auto line = upgrade::encodeLine(sent->toBytes());
        FUZZ_REQUIRE(line && line->size() <= LineFrameAssembler::kFrameMax);
        FUZZ_REQUIRE(LineFrameAssembler().push(*line) == QByteArrayList{*line});
        const auto raw = upgrade::decodeLine(*line);
        CommandFrameObject read;
        FUZZ_REQUIRE(raw && read.fromBytes(*raw) && read.type == sent->type);
        FUZZ_REQUIRE(read.data == (sent->data.isEmpty() ? QByteArray(1, '\0') : sent->data));
    }
    return sent;
}

} // namespace fuzz
