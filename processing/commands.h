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
// Freeze Track Parameters (freeze_track.cpp) and Modify Track (modify_track.cpp).
command_record freeze_track_command();
command_record modify_track_command();
// Delete, Keep and Transform Events with their one dialog (event_commands.cpp).
std::vector<command_record> event_commands();
// Check Track, Check Note Overlap and Change Note Length (check_track.cpp, note_overlap.cpp,
// note_length.cpp).
command_record check_track_command();
command_record check_note_overlap_command();
command_record change_note_length_command();

}  // namespace kestrune
