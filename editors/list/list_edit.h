// The event list's edits on the highlighted event: Change Event, Delete, Insert Note, Insert
// Other, Qua and Deq. Each runs inside the track-edit guard, so the editor's session keeps one
// undo copy and the engine finds the track again afterwards.
#pragma once

#include "core/command.h"
#include "core/program.h"

namespace kestrune {

inline constexpr const char* msg_long_sysex = "Can't change that long sysex messages!";
inline constexpr const char* ask_delete_note_off = "Delete single note off?";
// Inserts need a few blocks in hand; below that they do nothing.
inline constexpr int insert_reserve_blocks = 3;

outcome change_event(program& p);
outcome delete_event(program& p);
outcome insert_note(program& p);
outcome insert_other(program& p);
// Qua (quantize true) or Deq on the highlighted note; elsewhere the highlight moves on.
outcome requantize_note(program& p, bool quantize);

// A column's value of the event at e, set from a click or an entry.
enum class row_data : std::uint8_t { channel, data1, data2 };
void set_row_data(program& p, ref32 e, row_data what, std::int32_t v);
// Moves the event at e by `delta` ticks, a note-on with its note-off, held inside the song.
void move_row_event(program& p, ref32 e, std::int32_t delta);
// The note-off of the note-on at `on` moves to `length` after it, short of the next note of the
// same key.
void set_note_length(program& p, ref32 on, std::int32_t length);

}  // namespace kestrune
