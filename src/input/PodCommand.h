#pragma once

#include "protocol/CommandCatalogue.h"

namespace input {

/// A command of the catalogue with its arguments.
struct PodCommand
{
    protocol::Command command = protocol::Command::StopMove;
    int argument0 = 0;
    int argument1 = 0;

    bool operator==(const PodCommand &) const = default;
};

} // namespace input
