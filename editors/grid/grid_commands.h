// The grid editor's own commands: Snap, Hide Groove and the Select Notes items.
#pragma once

#include "core/command_table.h"

namespace kestrune {

void add_grid_commands(command_table& table);

}  // namespace kestrune
