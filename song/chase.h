// Chase: after a locate, the values that the song has set by the new position on each port and
// channel (program, bank, volume, pan, expression, reverb, chorus, pitch wheel), gathered into the
// chase table for the engine to send.
#pragma once

#include <cstdint>

#include "core/program.h"

namespace kestrune {

// Fills the chase table for song position `position`, found in song step `step` and `pattern`,
// and raises chase_ready.
void chase_events(program& p, std::int32_t position, int step, int pattern);

}  // namespace kestrune
