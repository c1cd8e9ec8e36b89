// The row text of the event list, as the event editor shows one event; the tool's dump prints it.
#pragma once

#include <cstdint>
#include <string>

#include "core/midi_names.h"
#include "files/patch_names.h"
#include "core/program.h"

namespace kestrune {

inline constexpr int event_row_width = 52;

// Where the row's event lives: the track's channel (16 = as recorded) and port, and the patch
// names with their per-channel switch when the program should show them.
struct row_context {
    int track_channel = 16;
    int port = 0;
    const patch_tables* patches = nullptr;
    const patch_name_flags* show_patch_names = nullptr;
};

// The 52-character row of the event at e, with every row filter on.
std::string event_row_text(const program& p, ref32 e, const row_context& c = {});

}  // namespace kestrune
