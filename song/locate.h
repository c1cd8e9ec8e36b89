// Moving the song position and re-establishing every pointer the engine follows.
#pragma once

#include <cstdint>

#include "core/program.h"

namespace kestrune {

struct step_place {
    int step;
    std::int32_t local;  // position inside the step's pattern
    int pattern;
};

// The song step that plays at song position p, its pickup taken into account.
step_place find_song_step(const program& p, std::int32_t position);
// The bar that ends where song step `step` begins, by the active signature.
std::int32_t bar_before_step(const program& p, int step);
// Where a start from song step `step` begins: back far enough to hold its pickup in whole bars.
std::int32_t start_holding_pickup(const program& p, int step);

void locate(program& p, std::int32_t position);
void cycle_prepare(program& p);
// A track's chain changed with the song where it stands: when its pattern plays (the one in
// display_pattern, or the parallel pattern) its play pointer and position are set at the play
// position, and the cycle's too, with `stopped` held. Other patterns are seated by the next
// locate.
void locate_track(program& p, int pattern, int track);
// The tempo or signature list changed with the song where it stands: the tempo in force, the
// beat fields and the lists' play pointers at the play position, and the cycle's, with `stopped`
// held.
void locate_lists(program& p);
void cycle_locate_track(program& p, int track, bool parallel, int pattern);

}  // namespace kestrune
