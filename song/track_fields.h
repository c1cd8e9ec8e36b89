// The track list's columns: one field descriptor per track parameter, the value a column shows,
// and the one way to change it, for a click, a typed entry and the files alike.
#pragma once

#include <cstdint>

#include "core/field.h"
#include "core/program.h"

namespace kestrune {

enum class track_column { transpose, loop, delay, compress, velocity, channel, port };

const field_spec& track_field(track_column c);
// The value as the column shows it: the loop in beats of the signature at the pattern's start.
std::int32_t track_value(const program& p, int pattern, int track, track_column c);
// Held to the column's range, with what follows: while a cycle take runs, Trsp, Comp, Vel, Cha
// and port reach every track of the take; Cha and port reach the same track of every pattern
// that holds no data; MIDI thru follows the current track; a playing track is seated anew.
void set_track_value(program& p, int pattern, int track, track_column c, std::int32_t v);

// The column setters the loaders and tests call by name.
void set_track_channel(program& p, int pattern, int track, int channel);
void set_track_port(program& p, int pattern, int track, int port);
void set_track_loop_beats(program& p, int pattern, int track, int beats);

}  // namespace kestrune
