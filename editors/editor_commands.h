// The editors' commands for the command table. An editor's own commands apply in its view
// (command_views::editor): their keys and buttons reach them only while it is open.
#pragma once

#include "core/command_table.h"

namespace kestrune {

void add_editor_commands(command_table& table);

}  // namespace kestrune
