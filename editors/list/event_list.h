// The event list of a track: which records it shows under the row filters, the 16 rows around
// the highlighted event, moving the highlight, following the play position and hearing a row.
#pragma once

#include <array>

#include "core/program.h"

namespace kestrune {

using list_row_events = std::array<ref32, list_rows>;  // null_ref: a blank row

// The list's rows: 16, or the one row under the grid, which stands in the list's last row.
int shown_rows(const program& p);
int first_shown_row(const program& p);

// The track the editor shows and the first record of its chain (null_ref when it has none).
track_slot& edited_slot(const program& p);
ref32 edited_first(const program& p);
// The tempo or signature list the editor shows in place of a track, or nullptr.
chain_cursor* edited_list(const program& p);

// Whether the row filters show a record; long events' data records never show.
bool row_shown(const program& p, const midi_event& e);
// The next shown event after e, or the chain's end record; the previous one, or the head.
ref32 next_shown(const program& p, ref32 e);
ref32 prev_shown(const program& p, ref32 e);
bool is_head(const program& p, ref32 e);
bool is_end(const program& p, ref32 e);

// The highlight on the first shown event (or the end), in the top row.
void cursor_to_start(program& p);
// Keeps the highlight on a shown event after the filters or the chain changed: the previous
// shown one, not the end while an event lies before it, else the next.
void settle_cursor(program& p);
// The rows as they are painted: `cursor_row` rows above the highlight, the rest below; the end
// row shows blank, and no row follows it.
list_row_events list_rows_of(const program& p);
// After the track changed under the list: the highlight on the first shown event at or after
// where it stood.
void relocate_cursor(program& p);
// Up (-1) or Down (+1) by one shown event; false at either end.
bool move_cursor(program& p, int delta);
// The highlight on the row at `row` when it holds an event; false for a blank row.
bool cursor_to_row(program& p, int row);
// In follow mode: the highlight on the last event before the song position (less the song step's
// start), found block by block.
void follow_position(program& p);
// Whether the list must move on to keep up with the running position.
bool follow_due(const program& p);

// Sends the row's event through the engine with the track's channel, transposition and velocity
// change: note-ons and channel messages; the previous heard note ends first.
void hear_row(program& p, ref32 e, editor_state::heard_span span = editor_state::heard_span::row);
// The same for an event that is not (or not yet) in the chain: a grid note under the mouse.
void hear_event(program& p, const midi_event& ev, editor_state::heard_span span = editor_state::heard_span::row);
// Ends a note that hear_row started.
void end_heard_note(program& p);
// On each tick of the screen at `ms`: ends the heard note when its while is up. `held`: a mouse
// button is down on the editor.
void end_heard_note_when_due(program& p, std::int64_t ms, bool held);

}  // namespace kestrune
