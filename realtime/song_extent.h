// Where a song's bars and its end lie, for players and exports that run from bar to bar.
#pragma once

#include <cstdint>

#include "core/program.h"

namespace kestrune {

// Where bar `bar` (1-based) begins, along the signature list.
std::int32_t bar_position(const program& p, int bar);
// The position after the last event that plays: the end of the last step with data in song mode,
// else the last event of the current pattern.
std::int32_t song_end(const program& p);

}  // namespace kestrune
