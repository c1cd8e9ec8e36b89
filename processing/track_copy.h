// Moving material between tracks: the whole-track copy, the part between two positions and the
// merge of two tracks. Copy Track, the segment copies, Mixdown and the remixes build on them.
#pragma once

#include <cstdint>

#include "core/program.h"

namespace kestrune {

struct track_ref {
    int pattern;
    int track;
};

// The working pattern's two tracks the copy functions build in.
inline constexpr track_ref scratch_merge{take_pattern, 0};
inline constexpr track_ref scratch_part{take_pattern, 1};

// Whether `blocks` blocks are free; else the memory message with the icon the function uses.
bool enough_blocks(program& p, int blocks, msg_icon icon);

// The destination, emptied first, gets a copy of the source's chain, name and parameters and
// becomes the current track. False, nothing changed, when the pool cannot hold the copy.
bool copy_whole_track(program& p, track_ref from, track_ref to);

// The destination, emptied first, gets the source's events in [left, right): a note whole, its
// note-off at right - 1 at the latest; note-offs without their note-on are left out. It takes
// the source's parameters and the name "   part   ". Nothing when right < left.
bool copy_part(program& p, track_ref from, track_ref to, std::int32_t left, std::int32_t right);

// The source's events merged into the destination's by position (on equal positions the
// destination's first); the source is emptied. With `freeze` both tracks' parameters are written
// into their events first. False, both as they were, when the pool cannot hold the merge.
bool merge_tracks(program& p, track_ref from, track_ref to, bool freeze);

}  // namespace kestrune
