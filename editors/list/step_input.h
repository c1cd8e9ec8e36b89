// Step input into the editor's track: chords played on the MIDI keyboard land at the step
// position, each step one groove unit on; a rest (the sustain pedal, or Tab) moves on without
// notes, and a key held over a rest ties the next chord's notes longer.
#pragma once

#include "core/command.h"
#include "core/program.h"

namespace kestrune {

inline constexpr std::int32_t last_step_note_off = last_step_input_position + 1;

outcome toggle_step_input(program& p);
// On each tick while step input is on: the engine's chord or rest.
void step_input_tick(program& p);
// One step on without notes.
void step_rest(program& p);

}  // namespace kestrune
