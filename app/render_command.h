// `kestrune-tool render`: a song as audio through the built-in synth.
#pragma once

#include <string>
#include <vector>

#include "core/program.h"

namespace kestrune {

// render FILE OUT.wav|.flac [--soundfont SF2] [--rate HZ] [--from BAR] [--to BAR]. Returns the
// exit status.
int render_command(const std::vector<std::string>& args,
                   bool (*load)(program&, const std::string&));

}  // namespace kestrune
