// The five changes a track's live parameters make to what it plays, written into its events:
// Freeze Track Parameters, Modify Track and the merging of tracks use them. Each walks every event
// of the chain from `first`; a value of 0 is left to the caller, which skips the transform.
#pragma once

#include <cstdint>

#include "song/event_store.h"

namespace kestrune {

// Every channel event (status below 0xF0) moves to channel c (0..15).
void transform_channel(event_store& s, ref32 first, int c);
// Note-on velocities compressed around 64 (see compressed_velocity).
void transform_compress(event_store& s, ref32 first, int shift);
// Note-on velocities + v, held to 1..127: no note falls silent.
void transform_velocity(event_store& s, ref32 first, int v);
// Keys of note-offs, note-ons and polyphonic pressure + t, held to 0..127.
void transform_transpose(event_store& s, ref32 first, int t);
// Every position + d, held to 0..last_position; the order stays.
void transform_delay(event_store& s, ref32 first, int d);

// Compress, Velocity, Transpose and Delay of the track written into its chain, each then 0.
// Compress comes before Velocity: a velocity offset adds to the compressed value.
void freeze_levels(event_store& s, track_slot& sl);

// One note-on's compression: x = velocity - 64 shifted right by `shift` (doubled for -1); 5 sets
// 64. Unclamped: the low eight bits go into the byte beside its spare bit, so -1 on 127 gives 190.
void compress_velocity(midi_event& e, int shift);
void add_velocity(midi_event& e, int v);
void transpose_key(midi_event& e, int t);
void set_channel(midi_event& e, int c);

}  // namespace kestrune
