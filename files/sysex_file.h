// Sysex files (.syx): a plain run of system exclusive messages, loaded onto one track.
#pragma once

#include <string>

#include "files/file_state.h"
#include "files/song_file.h"

namespace kestrune {

inline constexpr const char* sysex_track_name = "  Sys Ex  ";

// Loads every message of the file onto an empty track, all at position 3072 in file order.
load_result read_syx_file(program& p, int pattern, int track, const std::string& path);

// The command, on current_track of current_pattern.
int load_syx_file(program& p, file_state& fs);

}  // namespace kestrune
