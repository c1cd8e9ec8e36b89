// Patterns, tracks and the song list.
#pragma once

#include <cstdint>
#include <string_view>

#include "core/program.h"

namespace kestrune {

inline constexpr const char* default_pattern_name = " PATTERN  ";
inline constexpr const char* parallel_pattern_name = " PARALLEL ";
inline constexpr const char* blank_name = "          ";
inline constexpr std::int32_t default_step_length = 6144;  // 8 bars of 4/4

void set_pattern_defaults(program& p);
void set_song_list_defaults(program& p);
// pattern_ptr of every step from its pattern number.
void rebuild_step_pointers(program& p);

// The default tempo chain (one record of 120.00 at 0), replacing what was there.
bool replace_tempo_chain(program& p);
// A default signature chain (4/4 at 3072), replacing what the cursor held.
bool replace_signature_chain(program& p, chain_cursor& c);

// Gives a track's chain back to the pool and makes the slot empty.
void delete_track_chain(program& p, int pattern, int track);
// Gives the blocks of the undo copy back (the copy is processing/undo.h's); the song's clearing
// does so too.
void undo_free(program& p);
// Empties the song: tempo, signature, patterns, song list, modes and the mixer.
void clear_song(program& p);

void select_track(program& p, int track);
// Refused during a take unless it is a forced redraw; returns false when refused.
bool select_pattern(program& p, int pattern, bool forced_redraw = false);
// MIDI thru plays with the current track's parameters: copies them.
void copy_thru_fields(program& p);
// A track of a playing pattern changed: seat its pointer again and end its sounding notes.
void reseat_playing_track(program& p, int pattern, int track);
bool toggle_song_mode(program& p);

// Loop length in beats of the signature in force at the pattern's start.
std::int32_t loop_length_from_beats(int beats, int denominator);
int beats_from_loop_length(std::int32_t loop_length, int denominator);
int max_loop_beats(int denominator);
// True when the loop does not end on a whole beat.
bool loop_has_remainder(std::int32_t loop_length, int denominator);
// The denominator in force where the current pattern starts.
int denominator_at_pattern_start(const program& p);

// Song list edits.
void set_step_pattern(program& p, int step, int pattern);
std::int32_t step_length(const program& p, int step);
std::int32_t max_step_length(const program& p, int step);
void set_step_length(program& p, int step, std::int32_t length);
int max_step_pickup(const program& p, int step);
void set_step_pickup(program& p, int step, int pickup);
void set_step_name(program& p, int step, std::string_view name);
bool name_says_stop(const char* name);
void insert_step(program& p, int step);
void delete_step(program& p, int step);

// Copies a name into a 10-character field padded with blanks.
void put_name(char (&field)[11], std::string_view name);

}  // namespace kestrune
