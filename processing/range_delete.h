// Erasing a span of a track: the Delete of All Events between two positions.
#pragma once

#include <cstdint>

#include "processing/track_edit.h"

namespace kestrune {

// Notes that begin before `from` and end at or after it end at from - 1; the chain is sorted.
void end_notes_before(event_store& s, ref32 first, std::int32_t from);

// On the track of a begun guard: notes that begin before `from` and end at or after it are ended
// at from - 1; then every event in [from, to) goes, a note with its note-off. The track keeps
// its name and settings. False (nothing changed) when the pool cannot hold the rewritten chain.
bool delete_range(track_edit& g, std::int32_t from, std::int32_t to);

}  // namespace kestrune
