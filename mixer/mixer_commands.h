// The mixer's commands for the command table.
#pragma once

#include "core/command_table.h"

namespace kestrune {

void add_mixer_commands(command_table& table);

}  // namespace kestrune
