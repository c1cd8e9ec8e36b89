// The records of the track functions, quantize and undo, for the command table. Each function
// family declares its records in its own file; add_processing_commands lists them all.
#pragma once

#include <cstdint>
#include <vector>

#include "core/command_table.h"

namespace kestrune {

// Every command of this folder.
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
// Copy Track with Part Copy and Extract (copy_track.cpp), Copy Pattern (copy_pattern.cpp).
command_record copy_track_command();
command_record copy_pattern_command();
// Copy Track Segment and Copy Pattern Segment (copy_segment.cpp).
std::vector<command_record> segment_commands();
// Insert Measures and Delete Measures (measures.cpp).
std::vector<command_record> measures_commands();
// Half, Double and User Defined Speed (change_speed.cpp), Push Track (push_track.cpp), Mirror
// Pitches (mirror_pitches.cpp) and Reverse Pitches (reverse_pitches.cpp).
std::vector<command_record> speed_commands();
command_record push_track_command();
command_record mirror_pitches_command();
command_record reverse_pitches_command();
// Mixdown 32 Tracks (mixdown.cpp).
command_record mixdown_command();
// Remix Track By Channel and By Note Number (remix.cpp).
std::vector<command_record> remix_commands();
// Where Change Speed puts a position for a factor (2.0 plays twice as fast).
std::int32_t scaled_position(std::int32_t pos, float factor);

}  // namespace kestrune
