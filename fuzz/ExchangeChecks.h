#pragma once

#include "FuzzHarness.h"
#include "firmware/online/LineCoding.h"
#include "firmware/online/LineFrameAssembler.h"
#include "firmware/online/UpgradeExchange.h"

/// What must hold for anything that a server-assisted upgrade wants done, whatever made it want it.
namespace fuzz {

inline void requireSendable(const CommandFrameObject &command)
{
    const auto line = upgrade::encodeLine(command.toBytes());
    FUZZ_REQUIRE(line && line->size() <= LineFrameAssembler::kFrameMax);
    FUZZ_REQUIRE(LineFrameAssembler().push(*line) == QByteArrayList{*line});
    const auto raw = upgrade::decodeLine(*line);
    CommandFrameObject read;
    FUZZ_REQUIRE(raw && read.fromBytes(*raw) && read.type == command.type);
    FUZZ_REQUIRE(read.data == (command.data.isEmpty() ? QByteArray(1, '\0') : command.data));
}

/// Returns the data of the command among the actions, if there is one.
inline std::optional<CommandFrameObject> requireSound(const UpgradeExchange::Actions &actions)
{
    std::optional<CommandFrameObject> sent;
    for (const UpgradeExchange::Action &action : actions) {
        if (const auto *progress = std::get_if<UpgradeExchange::Progress>(&action)) {
            FUZZ_REQUIRE(progress->percent >= 0 && progress->percent <= UpgradeExchange::kEndMark);
        } else if (const auto *command = std::get_if<UpgradeExchange::SendCommand>(&action)) {
            requireSendable(command->frame);
            FUZZ_REQUIRE(!sent); // the bootloader answers one at a time
            sent = command->frame;
        }
    }
    return sent;
}

} // namespace fuzz
