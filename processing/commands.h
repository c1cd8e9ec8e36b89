// The records of the track functions, quantize and undo, for the command table. Each function
// family declares its records in its own file; add_processing_commands lists them all.
#pragma once

#include <vector>

#include "core/command_table.h"

namespace kestrune {

// Every command of this folder, the ones still to come greyed (a record without a run function).
void add_processing_commands(command_table& table);

// Quantize Settings, Freeze Quantize, and the Qua pop-up's Quantize (quantize_commands.cpp).
std::vector<command_record> quantize_commands();
// Undo, from the menu, its key and the button (undo_command.cpp).
command_record undo_command_record();

}  // namespace kestrune
