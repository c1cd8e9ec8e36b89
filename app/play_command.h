// `kestrune-tool play`: a headless player on the real engine, its MIDI ports and the transport.
#pragma once

#include <string>
#include <vector>

#include "core/program.h"

namespace kestrune {

using file_loader = bool (*)(program&, const std::string&);

// play FILE [--port A=NAME ...] [--from BAR] [--loop], or play --list. Returns the exit status.
int play_command(const std::vector<std::string>& args, file_loader load);

// Where bar `bar` (1-based) begins, along the signature list.
std::int32_t bar_position(const program& p, int bar);
// The position after the last event that plays: the end of the last step with data in song mode,
// else the last event of the current pattern.
std::int32_t song_end(const program& p);

}  // namespace kestrune
