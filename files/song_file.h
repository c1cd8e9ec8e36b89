// The song file: its layout, the writer and the reader, and the commands that save and load it.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "files/file_state.h"
#include "files/track_chunk.h"

namespace kestrune {

inline constexpr std::uint32_t song_magic = 0x200AB232;
// Section markers, in the only order in which they are accepted.
inline constexpr std::uint32_t marker_reserved = 0x300CDE97;
inline constexpr std::uint32_t marker_tracks_16 = 0x300CDE98;
inline constexpr std::uint32_t marker_snapshots = 0x400CD264;
inline constexpr std::uint32_t marker_grid = 0x500CD266;
inline constexpr std::uint32_t marker_tracks_24 = 0x600CD300;
inline constexpr std::uint32_t marker_closing = 0x800CD327;

inline constexpr std::int32_t older_tempo_limit = 25000;

#pragma pack(push, 1)

struct stored_step {
    std::uint32_t end;
    std::int8_t pattern;
    std::uint8_t stop_here;
    std::int8_t transpose;
    std::uint16_t denominator;  // repeated; thrown away on reading
    std::int16_t pickup;
    std::uint32_t track_mask;
};
static_assert(sizeof(stored_step) == 15);
static_assert(offsetof(stored_step, pattern) == 4);
static_assert(offsetof(stored_step, stop_here) == 5);
static_assert(offsetof(stored_step, transpose) == 6);
static_assert(offsetof(stored_step, denominator) == 7);
static_assert(offsetof(stored_step, pickup) == 9);
static_assert(offsetof(stored_step, track_mask) == 11);

// The first 577 bytes.
struct song_file_head {
    std::uint32_t magic;
    std::uint16_t block_total;
    std::uint8_t reserved_6[13];
    std::int16_t current_pattern;
    std::uint8_t current_step;
    std::uint16_t numerator;
    std::uint16_t denominator;
    std::int16_t edit_grid;
    std::uint16_t tempo_whole;
    std::uint8_t song_mode;
    std::uint8_t reserved_31[4];
    std::int8_t thru_off_channel;
    std::uint8_t click_channel;
    std::uint8_t click_velocity;
    std::uint8_t click_note;
    std::uint8_t transpose_exempt_a[16];
    std::uint8_t filter_notes;
    std::int8_t filter_controller_from;
    std::uint8_t filter_pitch_wheel;
    std::uint8_t filter_poly_press;
    std::uint8_t filter_channel_press;
    std::uint8_t filter_program;
    std::uint8_t remap_on;
    std::uint8_t remap_from;
    std::uint8_t remap_to;
    std::int8_t filter_controller_to;
    std::int32_t left_locator;
    std::int32_t right_locator;
    std::uint8_t cycle_on;
    std::uint8_t filter_sysex;
    std::uint8_t tempo_track_on;
    std::uint8_t click_port;
    std::uint8_t transpose_exempt_b[16];
    std::uint8_t snap_to_grid;
    std::uint8_t reserved_94[3];
    stored_step steps[32];
};
static_assert(sizeof(song_file_head) == 577);
#define KESTRUNE_SONG_AT(field, off) static_assert(offsetof(song_file_head, field) == (off), #field)
KESTRUNE_SONG_AT(block_total, 4);
KESTRUNE_SONG_AT(current_pattern, 19);
KESTRUNE_SONG_AT(current_step, 21);
KESTRUNE_SONG_AT(numerator, 22);
KESTRUNE_SONG_AT(denominator, 24);
KESTRUNE_SONG_AT(edit_grid, 26);
KESTRUNE_SONG_AT(tempo_whole, 28);
KESTRUNE_SONG_AT(song_mode, 30);
KESTRUNE_SONG_AT(thru_off_channel, 35);
KESTRUNE_SONG_AT(click_channel, 36);
KESTRUNE_SONG_AT(click_velocity, 37);
KESTRUNE_SONG_AT(click_note, 38);
KESTRUNE_SONG_AT(transpose_exempt_a, 39);
KESTRUNE_SONG_AT(filter_notes, 55);
KESTRUNE_SONG_AT(filter_controller_from, 56);
KESTRUNE_SONG_AT(filter_pitch_wheel, 57);
KESTRUNE_SONG_AT(filter_poly_press, 58);
KESTRUNE_SONG_AT(filter_channel_press, 59);
KESTRUNE_SONG_AT(filter_program, 60);
KESTRUNE_SONG_AT(remap_on, 61);
KESTRUNE_SONG_AT(remap_from, 62);
KESTRUNE_SONG_AT(remap_to, 63);
KESTRUNE_SONG_AT(filter_controller_to, 64);
KESTRUNE_SONG_AT(left_locator, 65);
KESTRUNE_SONG_AT(right_locator, 69);
KESTRUNE_SONG_AT(cycle_on, 73);
KESTRUNE_SONG_AT(filter_sysex, 74);
KESTRUNE_SONG_AT(tempo_track_on, 75);
KESTRUNE_SONG_AT(click_port, 76);
KESTRUNE_SONG_AT(transpose_exempt_b, 77);
KESTRUNE_SONG_AT(snap_to_grid, 93);
KESTRUNE_SONG_AT(steps, 97);
#undef KESTRUNE_SONG_AT

struct stored_step_name {
    char name[10];
    std::uint16_t denominator;  // repeated; thrown away on reading
};
static_assert(sizeof(stored_step_name) == 12);

// What follows signature_track_on, to the end of the oldest layout.
struct song_file_tail {
    stored_step_name step_names[32];
    std::uint16_t tempo;  // hundredths, at most 32500
    std::uint8_t reserved_386;
    char note_pad_text[200];
    std::int16_t quantize_strength;
    std::int16_t swing_factor;
    std::uint8_t reserved_591[100];
};
static_assert(sizeof(song_file_tail) == 691);
static_assert(offsetof(song_file_tail, tempo) == 384);
static_assert(offsetof(song_file_tail, note_pad_text) == 387);
static_assert(offsetof(song_file_tail, quantize_strength) == 587);
static_assert(offsetof(song_file_tail, swing_factor) == 589);

struct grid_section {
    std::int32_t grid_split;
    std::int16_t grid_mode_flag;
    std::int16_t grid_lane;
    std::int16_t grid_zoom_y;
    std::int16_t grid_zoom_x;
    std::uint8_t transpose_exempt_c[16];
    std::uint8_t transpose_exempt_d[16];
    std::int16_t split_percent;
    std::uint8_t reserved[166];
};
static_assert(sizeof(grid_section) == 212);
static_assert(offsetof(grid_section, grid_mode_flag) == 4);
static_assert(offsetof(grid_section, grid_lane) == 6);
static_assert(offsetof(grid_section, grid_zoom_y) == 8);
static_assert(offsetof(grid_section, grid_zoom_x) == 10);
static_assert(offsetof(grid_section, transpose_exempt_c) == 12);
static_assert(offsetof(grid_section, transpose_exempt_d) == 28);
static_assert(offsetof(grid_section, split_percent) == 44);

#pragma pack(pop)

inline constexpr std::size_t snapshot_bytes = 322;
inline constexpr std::size_t reserved_section_bytes = 996;

// Where the writer put the end of the oldest layout and each section's marker.
struct song_file_map {
    std::uint64_t oldest_end = 0;
    std::vector<std::uint64_t> markers;
    std::uint64_t size = 0;
};

// occupied: the destination pattern or track holds data.
enum class load_result { loaded, not_opened, not_song, too_big, damaged, occupied };

// Writes the song to a path through a temporary file. Reports "Invalid file handle!!" when the
// file cannot be made and the write failure when it cannot be completed; the song is unchanged.
bool write_song_file(program& p, const std::string& path, song_file_map* map = nullptr);
// Reads a song file into the program. A file that is not a song leaves the song untouched; any
// later refusal leaves it cleared. The open failure is reported only when asked.
load_result read_song_file(program& p, const std::string& path, bool report_open_failure);

// The commands, with their dialogs, handshakes and titles.
int save_song(program& p, file_state& fs);
int load_song(program& p, file_state& fs, bool quiet);
// The start file and dropped files: by extension of current_file_name, "Default.sng" if empty.
int load_song_by_type(program& p, file_state& fs);
// A file of the Recent Files menu, after the question.
int load_recent_file(program& p, file_state& fs, const std::string& path);

}  // namespace kestrune
