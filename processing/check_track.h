// Check Track's repairs of a track's notes, which Transform Events runs as well.
#pragma once

#include "processing/track_edit.h"

namespace kestrune {

inline constexpr const char* msg_check_track = "Check track?";

// On the track of a begun guard, in this order: a note without a note-off gets one at its own
// position, release velocity 64, while more than 3 blocks are free; a note-off with no note-on
// before it goes; of two events alike at one position (same status, the channel not compared
// when the track sets one, same first byte) the earlier goes, a note with its note-off, except
// controllers, whose values may differ. System exclusive and text events are never doubles.
void repair_track(track_edit& g);

}  // namespace kestrune
