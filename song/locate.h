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

void locate(program& p, std::int32_t position);
void cycle_prepare(program& p);
void locate_track(program& p, int track, bool parallel);
void cycle_locate_track(program& p, int track, bool parallel, int pattern);

}  // namespace kestrune
