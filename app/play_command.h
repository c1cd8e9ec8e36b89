// `kestrune-tool play`: a headless player on the real engine, its MIDI ports and the transport.
#pragma once

#include <string>
#include <vector>

#include "core/program.h"
#include "realtime/song_extent.h"

namespace kestrune {

using file_loader = bool (*)(program&, const std::string&);

// play FILE [--port A=NAME ...] [--from BAR] [--loop], or play --list. Returns the exit status.
int play_command(const std::vector<std::string>& args, file_loader load);

}  // namespace kestrune
