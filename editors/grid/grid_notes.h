// The grid editor's notes: finding a note at a point, the selection marks, drawing a note with
// the pencil, erasing, the rubber band, moving or copying the selected group, a note's length,
// Qua and Deq on the selection and the Select Notes items.
#pragma once

#include <cstdint>
#include <functional>
#include <vector>

#include "core/command.h"
#include "core/program.h"

namespace kestrune {

inline constexpr const char* msg_note_overlaps = "Note Overlaps!";
inline constexpr const char* msg_no_events_selected = "No events selected!";
inline constexpr const char* msg_select_one_note = "At least one note must be selected!";

// The marks in the spare bits of a note's note-off (byte 4): selected, and the working marks of
// a move.
inline constexpr std::uint8_t mark_selected = 0x80;
inline constexpr std::uint8_t mark_moved = 0x20;
inline constexpr std::uint8_t mark_drop = 0x10;
inline constexpr std::uint8_t all_marks = mark_selected | mark_moved | mark_drop;

inline bool has_mark(const midi_event& off, std::uint8_t m) { return (off.b[4] & m) != 0; }
inline void set_mark(midi_event& off, std::uint8_t m, bool on) {
    off.b[4] = static_cast<std::uint8_t>(on ? off.b[4] | m : off.b[4] & ~m);
}

// A point of the grid: a tick of the track and a key.
struct grid_point {
    std::int32_t tick = 0;
    int key = 0;
    bool operator==(const grid_point&) const = default;
};

// A note: its note-on, and its note-off or null_ref.
struct grid_note {
    ref32 on = null_ref;
    ref32 off = null_ref;
    explicit operator bool() const { return on != null_ref; }
};
grid_note note_of(const program& p, ref32 on);
bool is_selected(const program& p, const grid_note& n);

// The note under a point, rows of `row_ticks` ticks: the row just after a note still belongs to
// it, and a note without a note-off is hit along its whole way down.
grid_note note_at(const program& p, grid_point at, std::int32_t row_ticks);

// A position on the edit grid through the quantize rules when Snap is on, else as it is.
std::int32_t snap_position(program& p, std::int32_t position);
// The length a length drag gives: whole units when Snap is on, then one tick short of them.
std::int32_t dragged_length(const program& p, std::int32_t raw);

// The note-on of `key` at `position`, for the cursor after an edit; null_ref if there is none.
ref32 find_note_on(const program& p, std::int32_t position, int key);
// The cursor event of the editor, shared with the list.
void set_cursor_event(program& p, ref32 e);

// The pencil: a note of the last length (at least a row) at the snapped point, selected, heard;
// null_ref when there is no room or it runs into a note of the same key ("Note Overlaps!").
ref32 pencil_note(program& p, grid_point at, std::int32_t row_ticks);
void erase_note(program& p, const grid_note& n);

void clear_selection(program& p);
void toggle_selected(program& p, const grid_note& n);
// Each note of the track with a note-off, selected or not by `pick`.
using note_pick = std::function<bool(const midi_event& on, const midi_event& off, bool selected)>;
void mark_notes(program& p, const note_pick& pick);
// The rubber band: notes of keys `a` to `b` that begin or end between the two ticks; with
// `toggle` those already selected are cleared instead.
void select_band(program& p, grid_point a, grid_point b, bool toggle);
std::vector<grid_note> selected_notes(const program& p, std::int32_t from = 0,
                                      std::int32_t to = last_position);

// A shift of the selected group: ticks and semitones.
struct group_shift {
    std::int32_t ticks = 0;
    int keys = 0;
    bool operator==(const group_shift&) const = default;
};
// The shift held so that every selected note that begins between `from` and `to` stays inside
// the song and the keys: the group keeps its shape.
group_shift held_shift(const program& p, group_shift want, std::int32_t from, std::int32_t to);
// Moves (or copies) the selected notes in one pass; `lead` is the dragged note-on, which becomes
// the cursor event at its new place. False when refused (memory).
bool move_selected(program& p, group_shift by, bool copy, ref32 lead);
// A length drag's end: the note (and with a group, every selected note) gets the dragged
// length unless it would run into the next note of its key.
bool set_dragged_length(program& p, const grid_note& n, std::int32_t raw_length);
// Delete in the grid: the selected notes.
outcome delete_selected(program& p);
// Qua or Deq on the selected notes, or without a selection on the cursor's note.
outcome requantize_selected(program& p, bool quantize);

// The Select Notes items, by number: All, Toggle, Equal Pitch, Lower/Same Pitch, Following.
inline constexpr int select_notes_items = 5;
outcome select_notes(program& p, int item);

}  // namespace kestrune
